#include "mqtt/SendUnsent.h"

#include <array>

#include "app/ground/Flags.h"
#include "app/ground/SourceKind.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

using Reader = std::int32_t (*)(DataCollectorMainStructure& main, RecordHandOver& handOver);

constexpr std::array<Reader, kSourceKinds> kReaders = {
    ReadAIDCDBRecordAndPublish,    ReadDIODCDBRecordAndPublish,   ReadTemperatureDCDBRecordAndPublish,
    ReadRS485DCDBRecordAndPublish, ReadRS232DCDBRecordAndPublish, ReadSNMPDCDBRecordAndPublish};

void PrintReadOutcome(SourceKind kind, std::int32_t recordNumber) {
  const char* function = kKindFunctionWord[kind];
  const char* outcome = recordNumber > 0 ? "Success" : "Failure";
  if (recordNumber == 0) {
    Print("Failure: Read%sDCDBRecordAndPublish no record to be published\n", function);
  } else if (IsMeterKind(kind)) {
    Print("%s: Read%sDCDBRecordAndPublish : %d\n", outcome, function, recordNumber);
  } else {
    Print("%s: Read%sDCDBRecordAndPublish\n", outcome, function);
  }
}

// The verdict that nothing is left is in force before the table is read, so that a record which is stored
// meanwhile lowers it again and is not overlooked.
std::int32_t SendUnsent(SourceKind kind, DataCollectorMainStructure& main, RecordHandOver& handOver,
                        const char* function) {
  const FunctionTrace trace(function);
  KindSendFlags& flags = CloudConnectSendFlags[kind];
  flags.gui8_NoDCDBRecordsToPublish = 1;
  const std::int32_t recordNumber = kReaders[kind](main, handOver);
  if (recordNumber != 0) {
    flags.gui8_NoDCDBRecordsToPublish = 0;
  }
  PrintReadOutcome(kind, recordNumber);
  return recordNumber;
}

}  // namespace

std::int32_t SendUnsentAIDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(AIO, main, handOver, __func__);
}
std::int32_t SendUnsentDIODCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(DIO, main, handOver, __func__);
}
std::int32_t SendUnsentTemperatureDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(TEMPERATURE, main, handOver, __func__);
}
std::int32_t SendUnsentRS485DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(RS485, main, handOver, __func__);
}
std::int32_t SendUnsentRS232DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(RS232, main, handOver, __func__);
}
std::int32_t SendUnsentSNMPDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(SNMP, main, handOver, __func__);
}

}  // namespace datacollector
