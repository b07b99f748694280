// Reading a kind's oldest unsent record and handing it over as one packet.
#pragma once

#include <cstdint>

#include "ground/MainState.h"

namespace datacollector {

// What the caller does with the record that a reader finds. The reader calls Announce with the record number
// when it has found a row, then either Recall, if the row may have changed since it was read, and looks
// again, or Publish, and Withdraw if that returned false. It publishes once at most.
class RecordHandOver {
 public:
  RecordHandOver() = default;
  RecordHandOver(const RecordHandOver&) = delete;
  RecordHandOver(RecordHandOver&&) = delete;
  RecordHandOver& operator=(const RecordHandOver&) = delete;
  RecordHandOver& operator=(RecordHandOver&&) = delete;
  virtual ~RecordHandOver() = default;

  // Puts everything in place that an answer to the record will be compared with.
  virtual void Announce(std::int32_t recordNumber) = 0;

  // Sends the packet; false when it was refused.
  virtual bool Publish(const char* topic, const char* packet) = 0;

  // Takes back what a refused packet must not leave behind.
  virtual void Withdraw() = 0;

  // Takes the whole announcement back: nothing was tried.
  virtual void Recall() = 0;
};

// Hands the oldest row whose transmission status is "not sent" to `handOver`. Returns the record number
// of that row (above 0), 0 when there is none, -1 when the table can't be read or, for the meter kinds and
// SNMP, when the packet was refused. An AIO database that can't be opened counts as "none". Forwarding
// thread.
std::int32_t ReadRecordAndPublish(DataCollectorMainStructure& main, SourceKind kind,
                                  RecordHandOver& handOver);
std::int32_t ReadAIDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t ReadDIODCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t ReadTemperatureDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t ReadRS485DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t ReadRS232DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);
std::int32_t ReadSNMPDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver);

}  // namespace datacollector
