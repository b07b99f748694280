#include "app/ControlLoop.h"

#include <cstdint>

#include "app/ForwardingThread.h"
#include "app/KeeperThread.h"
#include "app/RetryTimers.h"
#include "app/WriteWindows.h"
#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientWrappers.h"
#include "mqtt/inbound/MessageDispatch.h"
#include "mqtt/inbound/RepeatedRecords.h"
#include "store/ReadLastRecordID.h"

namespace datacollector {
namespace {

bool IsEnabled(SourceKind kind) { return IsSourceEnabled(gMainState.DataCollectorSourcesConfig, kind); }

struct Reopening {
  SourceKind kind;
  const char* firstMessage;  // %d: first-record byte
  const char* sendMessage;   // %d: send flag
};

// The I/O kinds are re-opened by confirmations and timers only.
constexpr auto kReopenings = MeterKindTable<Reopening>({
    {RS485, "gui8_SendFirstCDBRecord = %d\n", "CloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags= %d\n"},
    {RS232, "RS232 gui8_SendFirstCDBRecord = %d\n",
     "CloudConnectSendFlags.gui8_RS232SendDCDBRecordFlags= %d\n"},
    {SNMP, "SNMP gui8_SendFirstCDBRecord = %d\n", "CloudConnectSendFlags.gui8_SNMPSendDCDBRecordFlags= %d\n"},
});

void RecoverRecordNumbers() {
  for (const SourceKind kind : kAllKinds) {
    if (IsEnabled(kind)) {
      ReadLastRecordID(gMainState, kind, gMainState.DataCollectorDBData.ui16_DBRecordNumber[kind]);
    }
  }
}

void CopySourceCounts() {
  const DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  SrcFlags.gi32_TotalNumEnSrces = sources.i32_No_Of_Sources;
  SrcFlags.gi32_TotalNumRS485EnSrces = sources.i32_No_Of_RS485Sources;
  SrcFlags.gi32_TotalNumRS232EnSrces = sources.i32_No_Of_RS232Sources;
  SrcFlags.gi32_TotalNumSNMPEnSrces = sources.i32_No_Of_SNMPSources;
}

// Makes an enabled meter kind due: every round, unlike the I/O kinds.
void Reopen(const Reopening& row) {
  if (!IsEnabled(row.kind)) {
    return;
  }
  KindSendFlags& flags = CloudConnectSendFlags[row.kind];
  flags.gui8_NoDCDBRecordsToPublish = 0;
  if (flags.gui8_SendFirstCDBRecord == 0) {
    flags.gui8_SendFirstCDBRecord = 1;
  }
  flags.gui8_SendDCDBRecordFlags = 1;
  Print(row.firstMessage, flags.gui8_SendFirstCDBRecord.load());
  Print(row.sendMessage, flags.gui8_SendDCDBRecordFlags.load());
}

std::uint8_t CurrentMinute() {
  TimeStampText minute{};
  GetMinutes(minute.characters.data(), minute.characters.size());
  Print("i8_ReadCurrentMinute = %s\n", minute.c_str());
  const auto value = static_cast<std::uint8_t>(DecimalValue(minute.view()));
  Print("ui8_CurrentMinute : %d\n", value);
  return value;
}

void SleepBeforeRound() {
  if (gMainState.ui16_MainWhileLoopSleepInterval != 0) {
    SleepInMilliSecond(gMainState.ui16_MainWhileLoopSleepInterval);
  }
}

}  // namespace

int DataCollector_Publish_Handler() {
  const FunctionTrace trace(__func__);
  gClientConfig.onMessage = on_message_callback;
  gClientConfig.onKeptSession = ExpectRepeatedRecords;
  if (Mosquitto_Initialization(gClientConfig) != 0) {
    PrintLine("Failure: Mosquitto_Initialization, So returning from Main thread");
    return -1;
  }
  StartKeeperThread();
  PrintLine("Sucesss: Mosquitto_Initialization");
  PrintLine("Sucesss: Mosquitto_Initialization");
  Print("cfg.status : %d\n", gClientConfig.status.load());
  Print("cfg.quiet : %d\n", gClientConfig.quiet ? 1 : 0);
  SleepInMilliSecond(gMainState.ui16_MainWhileLoopSleepInterval);
  PrintLine("############### creating thread#####################");
  StartForwardingThread();
  RecoverRecordNumbers();
  CopySourceCounts();
  ReportIntervalsThatAreNeverDue();
  for (;;) {
    SleepBeforeRound();
    Heartbeat(kMainThread);
    RunControlRound();
    FlushTrace();
  }
}

void RunControlRound() {
  SetWRRecordsFlags(CurrentMinute());
  OpenWithinWindows();
  CloseAfterWindows();
  if (gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable != 0) {
    return;
  }
  for (const Reopening& row : kReopenings) {
    Reopen(row);
  }
  for (const SourceKind kind : kAllKinds) {
    if (IsEnabled(kind)) {
      RunRetryTimers(kind);
    }
  }
}

}  // namespace datacollector
