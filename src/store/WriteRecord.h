// Storing a received record as the next one of its kind's bounded table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ground/MainState.h"
#include "store/DatabaseWriteProtocol.h"

namespace datacollector {

// Stores the record that ingestion has placed in the kind's record buffer (meter kinds: in the slot of
// the line and meter) and returns 0, or -1 when it could not be stored; then the record number stands where
// it was, and the reason is said. Recovers the kind's last record number first where that has not been done.
// `line` is zero-based; `meter` is zero-based for RS-485 and RS-232 and one-based for SNMP. MQTT network
// thread.
int WriteRecord(DataCollectorMainStructure& main, SourceKind kind, const RecordOrigin& origin);
int WriteAIDCDBRecords(DataCollectorMainStructure& main, std::int32_t requestId);
int WriteDIODCDBRecords(DataCollectorMainStructure& main);
int WriteTemperatureDCDBRecords(DataCollectorMainStructure& main);
int WriteRS485DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId);
int WriteRS232DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId, const char* siteId, const char* deviceId);
int WriteSNMPDCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                         std::int32_t requestId, const char* siteId, const char* deviceId);

}  // namespace datacollector
