// Recovery of a kind's last record number from its table, so that numbering continues across restarts.
#pragma once

#include <cstdint>

#include "ground/MainState.h"
#include "store/StoreAccess.h"

namespace datacollector {

// Reads the record number of the newest row into `recordNumber` (0 for an empty table) and returns 0, or
// leaves it and returns -1 when the table can't be read. From then on the kind's number counts as known. Main
// thread, at start; a record that arrives meanwhile may have been quicker, and then its number is the newest.
int ReadLastRecordID(DataCollectorMainStructure& main, SourceKind kind, std::uint16_t& recordNumber);
int ReadLastAIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastDIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastTemperatureRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastRS485RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastRS232RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastSNMPRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);

enum class Recovery : std::uint8_t {
  Done,
  Failed,
  NoTable  // there is no database or no table, and so no number to go on from
};

// Whether the kind's records may be numbered. Makes the recovery's attempts itself where nobody has succeeded
// yet, with `unit` as the unit of its waits: a record must not keep the network thread longer than its own
// writing would. MQTT network thread.
Recovery RecoverForRecord(DataCollectorMainStructure& main, SourceKind kind, StoreAccess& access,
                          WaitUnit unit);

}  // namespace datacollector
