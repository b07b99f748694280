// Recovery of a kind's last record number from its table, so that numbering continues across restarts.
#pragma once

#include <cstdint>

#include "app/ground/Flags.h"
#include "app/ground/MainState.h"
#include "store/Database.h"

namespace datacollector {

// Each reads the record number of the newest row into `recordNumber` (0 for an empty table) and returns 0, or
// leaves it and returns -1 when the table can't be read. Either outcome is announced in
// gRecordNumberRecovery, where the writers wait for it. Main thread, at start.
int ReadLastAIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastDIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastTemperatureRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastRS485RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastRS232RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
int ReadLastSNMPRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber);

// Whether the kind's records may be numbered. Waits until the main thread has finished the recovery at start,
// which makes no more pauses once a record has waited ten seconds for it, or any time for a missing table.
// Repeats a recovery that failed, with `unit` as the unit of its waits: a record must not keep the network
// thread longer than its own writing would. MQTT network thread.
Recovery AwaitRecordNumberRecovery(DataCollectorMainStructure& main, SourceKind kind, WaitUnit unit);

}  // namespace datacollector
