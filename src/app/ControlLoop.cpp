#include "app/ControlLoop.h"

#include <array>
#include <cstdint>

#include "app/ForwardingThread.h"
#include "app/RetryTimers.h"
#include "app/WriteWindows.h"
#include "app/ground/Flags.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"
#include "mqtt/ClientWrappers.h"
#include "mqtt/PayloadFields.h"
#include "store/ReadLastRecordID.h"

namespace datacollector {
namespace {

bool IsEnabled(SourceKind kind) { return IsSourceEnabled(gMainState.DataCollectorSourcesConfig, kind); }

struct RoundRow {
  SourceKind kind;
  int (*recover)(DataCollectorMainStructure& main, std::uint16_t& recordNumber);
  void (*setRetryFlag)();
  const char* firstMessage;  // %d: first-record byte; nullptr: re-opened by confirmations and timers only
  const char* sendMessage;   // %d: send flag
};

constexpr std::array<RoundRow, kSourceKinds> kRows = {{
    {AIO, ReadLastAIORecordID, SetAIDBRetryFlag, nullptr, nullptr},
    {DIO, ReadLastDIORecordID, SetDIDBRetryFlag, nullptr, nullptr},
    {TEMPERATURE, ReadLastTemperatureRecordID, SetTemperatureDBRetryFlag, nullptr, nullptr},
    {RS485, ReadLastRS485RecordID, SetRS485DBRetryFlag, "gui8_SendFirstCDBRecord = %d\n",
     "CloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags= %d\n"},
    {RS232, ReadLastRS232RecordID, SetRS232DBRetryFlag, "RS232 gui8_SendFirstCDBRecord = %d\n",
     "CloudConnectSendFlags.gui8_RS232SendDCDBRecordFlags= %d\n"},
    {SNMP, ReadLastSNMPRecordID, SetSNMPDBRetryFlag, "SNMP gui8_SendFirstCDBRecord = %d\n",
     "CloudConnectSendFlags.gui8_SNMPSendDCDBRecordFlags= %d\n"},
}};

void RecoverRecordNumbers() {
  for (const RoundRow& row : kRows) {
    if (IsEnabled(row.kind)) {
      row.recover(gMainState, gMainState.DataCollectorDBData.ui16_DBRecordNumber[row.kind]);
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
void Reopen(const RoundRow& row) {
  if (row.firstMessage == nullptr || !IsEnabled(row.kind)) {
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
  if (Mosquitto_Initialization(gClientConfig) != 0) {
    PrintLine("Failure: Mosquitto_Initialization, So returning from Main thread");
    return -1;
  }
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
    RunControlRound();
    Mosquitto_KeepNetworkThread(gClientConfig);
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
  for (const RoundRow& row : kRows) {
    Reopen(row);
  }
  for (const RoundRow& row : kRows) {
    if (IsEnabled(row.kind)) {
      row.setRetryFlag();
    }
  }
}

}  // namespace datacollector
