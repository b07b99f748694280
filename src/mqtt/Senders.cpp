#include "mqtt/Senders.h"

#include <array>

#include "app/ground/Flags.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"
#include "mqtt/HandOver.h"
#include "mqtt/SendUnsent.h"

namespace datacollector {
namespace {

struct SenderRow {
  SourceKind kind;
  std::int32_t (*sendUnsent)(DataCollectorMainStructure& main, RecordHandOver& handOver);

  const char* wanDownMessage;  // nullptr: sends whatever the state of the WAN
  const char* startedMessage;  // nullptr: none
  bool gateAlwaysOpen;
  bool printsFlags;
  const char* forcedMessage;  // %d: retry flag
  const char* sendingMessage;
  const char* sentTimeMessage;  // %u: seconds of the monotonic clock
  const char* successMessage;
};

constexpr const char* kWanDown = "wan is down, can not send records to backend.";
constexpr const char* kSending = "Wan is up, sending records to backend server..";

// The success line of DIO names AIO's function: the trace has always read so.
constexpr std::array<SenderRow, kSourceKinds> kRows = {{
    {
        .kind = AIO,
        .sendUnsent = SendUnsentAIDCDBRecord,
        .wanDownMessage = kWanDown,
        .startedMessage = nullptr,
        .gateAlwaysOpen = false,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent AIO record = %d\n ..\n",
        .sendingMessage = kSending,
        .sentTimeMessage = "gui32_LastCDBRecordSentTime[AIO] = %u\n",
        .successMessage = "Success: SendUnsentAIDCDBRecords",
    },
    {
        .kind = DIO,
        .sendUnsent = SendUnsentDIODCDBRecord,
        .wanDownMessage = nullptr,
        .startedMessage = " SendDIODCDBRecord started",
        .gateAlwaysOpen = false,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent DIO record = %d\n ..\n",
        .sendingMessage = "Wan is up, sending DIO records to backend server..",
        .sentTimeMessage = "gui32_LastCDBRecordSentTime[DIO] = %u\n",
        .successMessage = "Success: SendUnsentAIDCDBRecords",
    },
    {
        .kind = TEMPERATURE,
        .sendUnsent = SendUnsentTemperatureDCDBRecord,
        .wanDownMessage = nullptr,
        .startedMessage = " SendTemperatureDCDBRecord started",
        .gateAlwaysOpen = false,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent Temperature record = %d\n ..\n",
        .sendingMessage = "Wan is up, sending Temperature records to backend server..",
        .sentTimeMessage = "gui32_LastCDBRecordSentTime[TEMPERATURE] = %u\n",
        .successMessage = "Success: SendUnsentTemperatureDCDBRecords",
    },
    {
        .kind = RS485,
        .sendUnsent = SendUnsentRS485DCDBRecord,
        .wanDownMessage = kWanDown,
        .startedMessage = nullptr,
        .gateAlwaysOpen = true,
        .printsFlags = true,
        .forcedMessage = "forcefully sending unsent RS485 record = %d\n ..\n",
        .sendingMessage = kSending,
        .sentTimeMessage = "CloudConnectSendFlags.gui32_RS485LastDCDBRecordSentTime = %u\n",
        .successMessage = "Success: SendUnsentRS485DCDBRecords",
    },
    {
        .kind = RS232,
        .sendUnsent = SendUnsentRS232DCDBRecord,
        .wanDownMessage = "wan is down, can not send RS232 records to backend.",
        .startedMessage = nullptr,
        .gateAlwaysOpen = true,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent RS232 record = %d\n ..\n",
        .sendingMessage = kSending,
        .sentTimeMessage = "CloudConnectSendFlags.gui32_RS232LastDCDBRecordSentTime = %u\n",
        .successMessage = "Success: SendUnsentRS232DCDBRecords",
    },
    {
        .kind = SNMP,
        .sendUnsent = SendUnsentSNMPDCDBRecord,
        .wanDownMessage = kWanDown,
        .startedMessage = nullptr,
        .gateAlwaysOpen = true,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent SNMP record = %d\n ..\n",
        .sendingMessage = kSending,
        .sentTimeMessage = "CloudConnectSendFlags.gui32_SNMPLastDCDBRecordSentTime = %u\n",
        .successMessage = "Success: SendUnsentSNMPDCDBRecords",
    },
}};

void PrintGate(const KindSendFlags& flags) {
  PrintLine("########################################################################");
  Print("gui8_WanStatus = %d\n", gui8_WanStatus);
  Print("gui8_FirstDCDBRecordSent = %d\n", flags.gui8_FirstDCDBRecordSent.load());
  Print("gui8_SendUnsentDCDBRecord = %d\n", flags.gui8_SendUnsentDCDBRecord.load());
  Print("gui8_SendDCDBRecordRetryFlags = %d\n", flags.gui8_SendDCDBRecordRetryFlags.load());
  PrintLine("########################################################################");
}

// A delivery is outstanding while the first record has gone and neither a confirmation nor a retry asks for
// more.
bool IsGateOpen(const KindSendFlags& flags) {
  return flags.gui8_FirstDCDBRecordSent == 0 || flags.gui8_SendUnsentDCDBRecord == 1 ||
         flags.gui8_SendDCDBRecordRetryFlags == 1;
}

// Tells what the announcement has stored already: a confirmation may have changed the flags since.
void PrintSent(const SenderRow& row, const HandOver& handOver, std::int32_t recordNumber,
               const char* sender) {
  const KindSendFlags& flags = CloudConnectSendFlags[row.kind];
  const char* function = kKindFunctionWord[row.kind];
  Print("f64_Send%sDCDBRecordFlagSetTime = %f, gf64_Send%sDCDBRecordFlagSetTime = %f\n", function,
        handOver.ReleaseTimeBefore(), function, flags.gf64_SendDCDBRecordFlagSetTime.Seconds());
  PrintClockReading(handOver.SentAt(), sender);
  Print(row.sentTimeMessage, static_cast<std::uint32_t>(handOver.SentAt().now.tv_sec));
  PrintLine(row.successMessage);
  Print("%sDCDBRecord Number = %d, published successfully\n", function, recordNumber);
}

void Send(SourceKind kind, ClientConfig& cfg, double releaseTime, const char* function) {
  const FunctionTrace trace(function);
  const SenderRow& row = kRows[kind];
  KindSendFlags& flags = CloudConnectSendFlags[kind];
  if (row.gateAlwaysOpen) {
    flags.gui8_SendUnsentDCDBRecord = 1;
  }
  if (row.startedMessage != nullptr) {
    PrintLine(row.startedMessage);
  }
  if (row.printsFlags) {
    PrintGate(flags);
  }
  if (row.wanDownMessage != nullptr && gui8_WanStatus != 1) {
    PrintLine(row.wanDownMessage);
    return;
  }
  if (flags.gui8_SendDCDBRecordRetryFlags == 1) {
    Print(row.forcedMessage, flags.gui8_SendDCDBRecordRetryFlags.load());
  }
  if (!IsGateOpen(flags)) {
    return;
  }
  PrintLine(row.sendingMessage);
  HandOver handOver(kind, cfg, releaseTime);
  const std::int32_t recordNumber = row.sendUnsent(gMainState, handOver);
  if (recordNumber > 0) {
    PrintSent(row, handOver, recordNumber, function);
  } else {
    Print("Failure: SendUnsent%sDCDBRecords%s\n", kKindFunctionWord[kind],
          recordNumber == 0 ? " no unsent record present" : "");
  }
}

}  // namespace

void SendAIDCDBRecord(ClientConfig& cfg, double releaseTime) { Send(AIO, cfg, releaseTime, __func__); }
void SendDIODCDBRecord(ClientConfig& cfg, double releaseTime) { Send(DIO, cfg, releaseTime, __func__); }
void SendTemperatureDCDBRecord(ClientConfig& cfg, double releaseTime) {
  Send(TEMPERATURE, cfg, releaseTime, __func__);
}
void SendRS485DCDBRecord(ClientConfig& cfg, double releaseTime) { Send(RS485, cfg, releaseTime, __func__); }
void SendRS232DCDBRecord(ClientConfig& cfg, double releaseTime) { Send(RS232, cfg, releaseTime, __func__); }
void SendSNMPDCDBRecord(ClientConfig& cfg, double releaseTime) { Send(SNMP, cfg, releaseTime, __func__); }

}  // namespace datacollector
