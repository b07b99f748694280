#include "mqtt/outbound/SendUnsent.h"

#include "ground/Flags.h"
#include "ground/KindShape.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

struct UnsentSender {
  SourceKind kind;
  const char* function;
};

constexpr auto kUnsentSenders = KindTable<UnsentSender>({
    {AIO, "SendUnsentAIDCDBRecord"},
    {DIO, "SendUnsentDIODCDBRecord"},
    {TEMPERATURE, "SendUnsentTemperatureDCDBRecord"},
    {RS485, "SendUnsentRS485DCDBRecord"},
    {RS232, "SendUnsentRS232DCDBRecord"},
    {SNMP, "SendUnsentSNMPDCDBRecord"},
});

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

}  // namespace

// The verdict that nothing is left is in force before the table is read, so that a record which is stored
// meanwhile lowers it again and is not overlooked.
std::int32_t SendUnsent(SourceKind kind, DataCollectorMainStructure& main, RecordHandOver& handOver) {
  const FunctionTrace trace(kUnsentSenders[kind].function);
  KindSendFlags& flags = CloudConnectSendFlags[kind];
  flags.gui8_NoDCDBRecordsToPublish = 1;
  const std::int32_t recordNumber = ReadRecordAndPublish(main, kind, handOver);
  if (recordNumber != 0) {
    flags.gui8_NoDCDBRecordsToPublish = 0;
  }
  PrintReadOutcome(kind, recordNumber);
  return recordNumber;
}

std::int32_t SendUnsentAIDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(AIO, main, handOver);
}
std::int32_t SendUnsentDIODCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(DIO, main, handOver);
}
std::int32_t SendUnsentTemperatureDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(TEMPERATURE, main, handOver);
}
std::int32_t SendUnsentRS485DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(RS485, main, handOver);
}
std::int32_t SendUnsentRS232DCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(RS232, main, handOver);
}
std::int32_t SendUnsentSNMPDCDBRecord(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return SendUnsent(SNMP, main, handOver);
}

}  // namespace datacollector
