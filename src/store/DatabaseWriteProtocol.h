// Packing of the record text, which is the value list of an INSERT, and of the column list that goes with it.
//
// A record text is a line of comma-separated fields between the configured start and end marks: the gateway's
// own fields, the record data of the source application as received, the read time stamp. MQTT network
// thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ground/FixedText.h"
#include "ground/MainState.h"

namespace datacollector {

// What the writers hand to the packers. A kind ignores the members that it has no use for.
struct RecordOrigin {
  std::size_t line = 0;   // zero-based
  std::size_t meter = 0;  // zero-based for RS-485 and RS-232, one-based for SNMP
  std::int32_t requestId = 0;
  const char* siteId = "";  // identity of an RS-232 meter or SNMP device
  const char* deviceId = "";
  bool mayBeStored = false;  // the newest row of the table may be this record already
};

// What a record's message decides of it.
struct ReceivedRecord {
  const char* data;  // empty where the kind stores none for that line or meter
  std::int32_t recordType;
  std::int32_t requestId;
  bool hasMeterIndex;  // it stands behind the record text's start mark
};

// The column names of an INSERT, joined by commas.
using ColumnListText = FixedText<2500>;

// The record that stands in the kind's received-record buffer, before it is packed.
ReceivedRecord ReceivedRecordOf(const DataCollectorMainStructure& main, SourceKind kind,
                                const RecordOrigin& origin);

// Packs the record that stands in the kind's received-record buffer (meter kinds: in the slot of the
// line and meter). Takes the kind's alarm flag back.
void PackRecord(DataCollectorMainStructure& main, SourceKind kind, RecordText& out,
                const RecordOrigin& origin);
void PackAIDBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);
void PackDIODBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);
void PackTemperatureDBWriteRecord(DataCollectorMainStructure& main, RecordText& out,
                                  const RecordOrigin& origin);
void PackRS485DBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);
void PackRS232DBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);
void PackSNMPDBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);

// Appends the kind's configured column names to `out`, in the order of the configuration.
void PackColumnNames(const DataCollectorMainStructure& main, SourceKind kind, ColumnListText& out);
void PackAIDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);
void PackDIODBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);
void PackTemperatureDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);
void PackRS485DBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);
void PackRS232DBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);
void PackSNMPDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out);

// Writes the seconds since the Epoch of a local time "YYYY-MM-DD hh:mm:ss", from which every double quote is
// removed in place. Returns 0, or -1 when a piece is missing or it is no time; then `out` is left as it was.
std::int16_t ConvertHtimeToSecSinceEpoch(char* text, char* out, std::size_t size);

}  // namespace datacollector
