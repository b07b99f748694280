#include "app/ForwardingThread.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "app/FastPacing.h"
#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/RoundBell.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/outbound/Senders.h"

namespace datacollector {
namespace {

constexpr const char* kNetworkStatusFile = "/tmp/networkstatus";
constexpr std::size_t kNetworkStatusBytes = 10;
constexpr std::int32_t kRoundPause = 1000;    // milliseconds
constexpr std::int32_t kWanDownPause = 2000;  // milliseconds, in addition

struct Visit {
  SourceKind kind;
  const char* before;  // around the sender's call; nullptr: nothing
  const char* after;
  bool gpioLine;
};

// In the order of the visits.
constexpr auto kVisits = KindSequence<Visit>({
    {AIO, nullptr, nullptr, false},
    {DIO, nullptr, nullptr, false},
    {RS485,
     "############################# Start : Reading record to publish to Server. Publish GPIO ON "
     "#################################",
     "############################# End : Reading record to publish to Server. Publish GPIO OFF "
     "#################################",
     true},
    {TEMPERATURE, nullptr, nullptr, false},
    {RS232,
     "############################# Start : Reading RS232 record to publish to "
     "Server.#################################",
     "############################# End : Reading RS232 record to publish to "
     "Server.#################################",
     false},
    {SNMP,
     "############################# Start : Reading SNMP record to publish to "
     "Server.#################################",
     "############################# End : Reading SNMP record to publish to "
     "Server.#################################",
     false},
});

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void PrintRs485Flags() {
  const KindSendFlags& flags = CloudConnectSendFlags[RS485];
  Print("CloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags : %d\n", flags.gui8_SendDCDBRecordFlags.load());
  Print("CloudConnectSendFlags.gui8_RS485FirstDCDBRecordSent : %d\n", flags.gui8_FirstDCDBRecordSent.load());
  Print("CloudConnectSendFlags.gui8_RS485SendDCDBRecordRetryFlags : %d\n",
        flags.gui8_SendDCDBRecordRetryFlags.load());
  Print("CloudConnectSendFlags.gui8_RS485NoDCDBRecordsToPublish : %d\n",
        flags.gui8_NoDCDBRecordsToPublish.load());
}

// Takes the state of the WAN from the gateway's status file. While that can't be read the last state stays, 0
// at start.
void ReadWanStatus() {
  if (gMainState.DataCollectorSourcesConfig.i32_EnableLanMqtt != 0) {
    gui8_WanStatus = 1;
    return;
  }
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(kNetworkStatusFile, "re"));
  if (!file) {
    PrintSystemError("Error opening network status file");
    return;
  }
  std::array<char, kNetworkStatusBytes> line{};
  if (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
    Print("networkstatus : %s\n", line.data());
    gui8_WanStatus = DecimalValue(line.data()) != 0 ? 1 : 0;
  }
}

bool IsDue(SourceKind kind) {
  const std::uint32_t word = CloudConnectSendFlags[kind].word.Load();
  return IsSourceEnabled(gMainState.DataCollectorSourcesConfig, kind) &&
         ((word & kFirstSent) == 0 || (word & (kSendWanted | kRetryDue)) != 0);
}

FastPacing pacing;  // forwarding thread only

// The pause that ends a round; a fast one is cut short by the bell.
void EndRound() {
  if (!FastRounds()) {
    SleepInMilliSecond(kRoundPause);
    return;
  }
  const std::int32_t pause = pacing.TakePause(gMainState.ui16_FastRoundPause, MonotonicMilliseconds());
  PrintSleep(pause);
  AwaitRing(pause);
}

void* ForwardingThread(void* /*unused*/) {
  for (;;) {
    RunForwardingRound();
  }
}

pthread_t threadHandle;  // 0 until created; main thread only

}  // namespace

void StartForwardingThread() {
  if (threadHandle == 0) {
    ::pthread_create(&threadHandle, nullptr, ForwardingThread, nullptr);
  }
}

void VisitIfDue(SourceKind kind, double releaseTime) {
  const Visit& visit =
      *std::find_if(kVisits.begin(), kVisits.end(), [kind](const Visit& row) { return row.kind == kind; });
  if (!IsDue(kind) || CloudConnectSendFlags[kind].gui8_NoDCDBRecordsToPublish != 0 ||
      (FastRounds() && pacing.HoldsBack(kind, MonotonicMilliseconds()))) {
    return;
  }
  if (visit.before != nullptr) {
    PrintLine(visit.before);
  }
  const SendOutcome outcome = Send(kind, gClientConfig, releaseTime);
  if (FastRounds()) {
    pacing.Note(kind, outcome, gMainState.ui16_FastRoundPause, MonotonicMilliseconds());
  }
  if (visit.after != nullptr) {
    PrintLine(visit.after);
  }
  if (visit.gpioLine) {
    Print("GPIO Toggle result : %d\n", -1);
  }
}

void RunForwardingRound() {
  const bool gateOpen = gi32_HTTPThreadSendFlag == kGateOpen;
  RecordForwarding(gateOpen, gui8_WanStatus == 1);
  if (!gateOpen) {
    PrintText(
        "##############################Inside HTTP Thread,but Not Sending records. Flag is not "
        "set#############################");
    EndRound();
    return;
  }
  PrintLine("##############################Inside HTTP Thread, Sending records#############################");
  PrintRs485Flags();
  ReadWanStatus();
  if (gui8_WanStatus != 1) {
    PrintLine("WAN is down. ");
    SleepInMilliSecond(kWanDownPause);
    SleepInMilliSecond(kRoundPause);
    return;
  }
  PrintLine(
      "#######################################WAN is UP , Start sending records#######################");
  if (gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable != 0) {
    EndRound();
    return;
  }
  PrintLine(
      "##############################Inside HTTP Thread, ui16_CustomerDataBaseReadWriteUpdateEnable = 0 "
      ",Sending records#############################");
  for (const Visit& visit : kVisits) {
    Print("############################## Publishing %s record #############################\n",
          kKindWord[visit.kind]);
    VisitIfDue(visit.kind, CloudConnectSendFlags[visit.kind].gf64_SendDCDBRecordFlagSetTime.Seconds());
  }
  if (!FastRounds()) {
    SleepInMilliSecond(gMainState.ui16_MainWhileLoopSleepInterval);
  }
  EndRound();
}

}  // namespace datacollector
