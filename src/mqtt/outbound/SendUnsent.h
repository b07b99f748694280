// Handing over a kind's oldest unsent record, and the verdict when there is none.
#pragma once

#include <cstdint>

#include "ground/MainState.h"
#include "store/ReadRecords.h"

namespace datacollector {

// Returns what the kind's reader returns: the record number (above 0), 0 when nothing is left to send,
// which is then marked in the kind's flags, or a negative value on failure. Forwarding thread.
std::int32_t SendUnsent(SourceKind kind, DataCollectorMainStructure& main, RecordHandOver& handOver);

// The same for one kind.
std::int32_t SendUnsentAIDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t SendUnsentDIODCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t SendUnsentTemperatureDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t SendUnsentRS485DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t SendUnsentRS232DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t SendUnsentSNMPDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver);

}  // namespace datacollector
