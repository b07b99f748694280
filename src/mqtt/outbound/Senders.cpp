#include "mqtt/outbound/Senders.h"

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/RoundBell.h"
#include "ground/Trace.h"
#include "mqtt/outbound/HandOver.h"
#include "mqtt/outbound/SendUnsent.h"

namespace datacollector {
namespace {

struct Sender {
  SourceKind kind;
  const char* function;
  const char* wanDownMessage;  // nullptr: sends whatever the state of the WAN
  const char* startedMessage;  // nullptr: none
  bool gateAlwaysOpen;         // unless rounds are fast: the same record would go out over and over
  bool printsFlags;
  const char* forcedMessage;  // %d: retry flag
  const char* sendingMessage;
  const char* sentTimeMessage;  // %u: seconds of the monotonic clock
  const char* successMessage;
};

constexpr const char* kWanDown = "wan is down, can not send records to backend.";
constexpr const char* kSending = "Wan is up, sending records to backend server..";

// The success line of DIO names AIO's function, and stays so for the scripts that read it.
constexpr auto kSenders = KindTable<Sender>({
    {
        .kind = AIO,
        .function = "SendAIDCDBRecord",
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
        .function = "SendDIODCDBRecord",
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
        .function = "SendTemperatureDCDBRecord",
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
        .function = "SendRS485DCDBRecord",
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
        .function = "SendRS232DCDBRecord",
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
        .function = "SendSNMPDCDBRecord",
        .wanDownMessage = kWanDown,
        .startedMessage = nullptr,
        .gateAlwaysOpen = true,
        .printsFlags = false,
        .forcedMessage = "forcefully sending unsent SNMP record = %d\n ..\n",
        .sendingMessage = kSending,
        .sentTimeMessage = "CloudConnectSendFlags.gui32_SNMPLastDCDBRecordSentTime = %u\n",
        .successMessage = "Success: SendUnsentSNMPDCDBRecords",
    },
});

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
  const std::uint32_t word = flags.word.Load();
  return (word & kFirstSent) == 0 || (word & (kSendUnsent | kRetryDue)) != 0;
}

// Tells what the announcement has stored already: a confirmation may have changed the flags since.
void PrintSent(const Sender& row, const HandOver& handOver, std::int32_t recordNumber) {
  const KindSendFlags& flags = CloudConnectSendFlags[row.kind];
  const char* function = kKindFunctionWord[row.kind];
  Print("f64_Send%sDCDBRecordFlagSetTime = %f, gf64_Send%sDCDBRecordFlagSetTime = %f\n", function,
        handOver.ReleaseTimeBefore(), function, flags.gf64_SendDCDBRecordFlagSetTime.Seconds());
  PrintClockReading(handOver.SentAt(), row.function);
  Print(row.sentTimeMessage, static_cast<std::uint32_t>(handOver.SentAt().now.tv_sec));
  PrintLine(row.successMessage);
  Print("%sDCDBRecord Number = %d, published successfully\n", function, recordNumber);
}

}  // namespace

SendOutcome Send(SourceKind kind, ClientConfig& cfg, double releaseTime) {
  const Sender& row = kSenders[kind];
  const FunctionTrace trace(row.function);
  KindSendFlags& flags = CloudConnectSendFlags[kind];
  if (row.gateAlwaysOpen && !FastRounds()) {
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
    return SendOutcome::HeldBack;
  }
  if (flags.gui8_SendDCDBRecordRetryFlags == 1) {
    Print(row.forcedMessage, flags.gui8_SendDCDBRecordRetryFlags.load());
  }
  if (!IsGateOpen(flags)) {
    return SendOutcome::HeldBack;
  }
  PrintLine(row.sendingMessage);
  HandOver handOver(kind, cfg, releaseTime);
  const std::int32_t recordNumber = SendUnsent(kind, gMainState, handOver);
  if (recordNumber > 0) {
    PrintSent(row, handOver, recordNumber);
    return SendOutcome::HandedOver;
  }
  Print("Failure: SendUnsent%sDCDBRecords%s\n", kKindFunctionWord[kind],
        recordNumber == 0 ? " no unsent record present" : "");
  return recordNumber == 0 ? SendOutcome::NoneLeft : SendOutcome::Failed;
}

void SendAIDCDBRecord(ClientConfig& cfg, double releaseTime) { Send(AIO, cfg, releaseTime); }
void SendDIODCDBRecord(ClientConfig& cfg, double releaseTime) { Send(DIO, cfg, releaseTime); }
void SendTemperatureDCDBRecord(ClientConfig& cfg, double releaseTime) { Send(TEMPERATURE, cfg, releaseTime); }
void SendRS485DCDBRecord(ClientConfig& cfg, double releaseTime) { Send(RS485, cfg, releaseTime); }
void SendRS232DCDBRecord(ClientConfig& cfg, double releaseTime) { Send(RS232, cfg, releaseTime); }
void SendSNMPDCDBRecord(ClientConfig& cfg, double releaseTime) { Send(SNMP, cfg, releaseTime); }

}  // namespace datacollector
