#include "app/RetryTimers.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/RoundBell.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

struct RetryTimer {
  SourceKind kind;          // whose retry flag it sets
  SourceKind clockKind;     // whose last sending and flags it looks at
  std::size_t enabledLine;  // line of `kind` that must be enabled
  std::size_t clockLine;    // line of `clockKind` whose publish interval counts
  const char* name;         // in the line of inputs
  const char* message;      // %d: retry flag
};

constexpr const char* kRs485Message = "CloudConnectSendFlags.gui8_RS485SendDCDBRecordRetryFlags = %d\n";

// RS-485 has a timer for each of its first two lines; the second shows itself as RS485Line3, which scripts
// look for. Lines 3 and 4 have none.
constexpr std::array<RetryTimer, 7> kTimers = {{
    // kind, clock, line, clock's line
    {AIO, AIO, 0, 0, "AIO", "CloudConnectSendFlags.gui8_SendDCDBRecordRetryFlags[AIO] = %d\n"},
    {DIO, DIO, 0, 0, "DIO", "CloudConnectSendFlags.gui8_SendDCDBRecordRetryFlags[DIO] = %d\n"},
    {TEMPERATURE, TEMPERATURE, 0, 0, "TEMPERATURE",
     "CloudConnectSendFlags.gui8_SendDCDBRecordRetryFlags[TEMPERATURE] = %d\n"},
    {RS485, RS485, RS485Line1, RS485Line1, "RS485Line1", kRs485Message},
    {RS485, RS485, RS485Line2, RS485Line2, "RS485Line3", kRs485Message},
    {RS232, RS485, RS232Line1, RS485Line1, "RS232Line1",
     "CloudConnectSendFlags.gui8_RS232SendDCDBRecordRetryFlags = %d\n"},
    {SNMP, RS485, SNMPLine1, RS485Line1, "SNMPLine1",
     "CloudConnectSendFlags.gui8_SNMPSendDCDBRecordRetryFlags = %d\n"},
}};

static_assert(std::all_of(kAllKinds.begin(), kAllKinds.end(), [](SourceKind kind) {
  return std::any_of(kTimers.begin(), kTimers.end(),
                     [kind](const RetryTimer& timer) { return timer.kind == kind; });
}));

struct TimerFunction {
  SourceKind kind;
  const char* name;
};

constexpr auto kTimerFunctions = KindTable<TimerFunction>({
    {AIO, "SetAIDBRetryFlag"},
    {DIO, "SetDIDBRetryFlag"},
    {TEMPERATURE, "SetTemperatureDBRetryFlag"},
    {RS485, "SetRS485DBRetryFlag"},
    {RS232, "SetRS232DBRetryFlag"},
    {SNMP, "SetSNMPDBRetryFlag"},
});

// Fast rounds hand no record over again before its own time is up: each kind goes by its own last record. Of
// which line that was is not known here, so the longest of the lines' intervals counts.
std::int32_t LongestInterval(const DataCollectorSourcesConfig& sources, SourceKind kind) {
  std::int32_t longest = 0;
  for (std::size_t line = 0; line < kKinds[kind].sources; ++line) {
    if (IsLineEnabled(sources, kind, line)) {
      longest = std::max(longest, PublishInterval(sources, kind, line));
    }
  }
  return longest;
}

// Lines without a timer of their own would wait for ever where a fast round waits for a confirmation: there
// the kind's first timer runs for any line.
bool Runs(const RetryTimer& timer) {
  return !IsMeterKind(timer.kind) || (FastRounds() && timer.enabledLine == 0) ||
         IsLineEnabled(gMainState.DataCollectorSourcesConfig, timer.kind, timer.enabledLine);
}

// Seconds on the monotonic clock are compared as unsigned 32 bits, so that the comparison survives its wrap.
// A record that is being handed over meanwhile has its time announced before its flags: they are read the
// other way round, and the clock last, so that no record counts as old that has just left. A flag that was
// decided on before a record of its kind was announced says nothing about that record and is not set.
void RunTimer(const RetryTimer& timer, const char* function, ClockSource clockSource) {
  const DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  const KindSendFlags& clock = CloudConnectSendFlags[FastRounds() ? timer.kind : timer.clockKind];
  KindSendFlags& flags = CloudConnectSendFlags[timer.kind];
  const std::int32_t interval = FastRounds() ? LongestInterval(sources, timer.kind)
                                             : PublishInterval(sources, timer.clockKind, timer.clockLine);
  const std::uint32_t decidedOn = flags.word.Load();
  const std::uint32_t word = clock.word.Load();
  const int sendUnsent = (word & kSendUnsent) != 0 ? 1 : 0;
  const int firstSent = (word & kFirstSent) != 0 ? 1 : 0;
  const std::uint32_t lastSent = clock.gui32_LastDCDBRecordSentTime;
  const ClockReading reading = TakeMonotonicClock(clockSource);
  const auto now = static_cast<std::uint32_t>(reading.now.tv_sec);
  if (now - lastSent >= static_cast<std::uint32_t>(interval) && sendUnsent == 0 && firstSent == 1) {
    if (flags.word.SetSince(decidedOn, kRetryDue) && (decidedOn & kRetryDue) == 0) {
      RingForRound();
    }
  }
  PrintClockReading(reading, function);
  Print(
      "%s: current time = %u, last sent time = %u, publish interval = %d, gui8_SendUnsentDCDBRecord = %d, "
      "gui8_FirstDCDBRecordSent = %d, gui8_SendDCDBRecordFlags = %d\n",
      timer.name, now, lastSent, interval, sendUnsent, firstSent, clock.gui8_SendDCDBRecordFlags.load());
  Print(timer.message, flags.gui8_SendDCDBRecordRetryFlags.load());
}

}  // namespace

void RunRetryTimers(SourceKind kind, ClockSource clock) {
  const char* function = kTimerFunctions[kind].name;
  const FunctionTrace trace(function);
  for (const RetryTimer& timer : kTimers) {
    if (timer.kind == kind && Runs(timer)) {
      RunTimer(timer, function, clock);
    }
  }
}

void SetAIDBRetryFlag() { RunRetryTimers(AIO); }
void SetDIDBRetryFlag() { RunRetryTimers(DIO); }
void SetTemperatureDBRetryFlag() { RunRetryTimers(TEMPERATURE); }
void SetRS485DBRetryFlag() { RunRetryTimers(RS485); }
void SetRS232DBRetryFlag() { RunRetryTimers(RS232); }
void SetSNMPDBRetryFlag() { RunRetryTimers(SNMP); }

}  // namespace datacollector
