// Writing the outcome of a delivery into the delivered row.
#pragma once

#include <cstdint>

#include "ground/MainState.h"

namespace datacollector {

// Stores the transmission status and time of the kind's DataCollectorDBUpdate record in the row with
// that record number and read time stamp, and returns 0, or -1 when the statement failed. A row that the ring
// has replaced since is not touched, which counts as success and is said. MQTT network thread.
int UpdateRecord(DataCollectorMainStructure& main, SourceKind kind);
int UpdateAIDBRecord(DataCollectorMainStructure& main);
int UpdateDIODBRecord(DataCollectorMainStructure& main);
int UpdateTemperatureDBRecord(DataCollectorMainStructure& main);
int UpdateRS485DBRecord(DataCollectorMainStructure& main);
int UpdateRS232DBRecord(DataCollectorMainStructure& main);
int UpdateSNMPDBRecord(DataCollectorMainStructure& main);

// Counts the attempts at updates of a kind. Raised under the kind's lock before a row is touched: a row that
// was read under that lock is as it was read while the count stays. Any thread.
std::uint32_t UpdatesTried(SourceKind kind);

// Writes the current local time. Returns 0.
int GetCurrentTimeStamp(TimeStampText& out);

}  // namespace datacollector
