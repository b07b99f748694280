#include "app/RetryTimers.h"

#include <array>
#include <cstdint>
#include <span>

#include "app/ground/Flags.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"

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

// RS-485 has a timer for each of its first two lines; the second shows itself as RS485Line3, as it always
// has. Lines 3 and 4 have none.
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

// Seconds on the monotonic clock are compared as unsigned 32 bits, so that the comparison survives its wrap.
// A record that is being handed over meanwhile has its time announced before its flags: they are read the
// other way round, and the clock last, so that no record counts as old that has just left.
void RunTimer(const RetryTimer& timer, const char* function) {
  const DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  const KindSendFlags& clock = CloudConnectSendFlags[timer.clockKind];
  ByteFlag& retry = CloudConnectSendFlags[timer.kind].gui8_SendDCDBRecordRetryFlags;
  const std::int32_t interval = PublishInterval(sources, timer.clockKind, timer.clockLine);
  const std::uint8_t sendUnsent = clock.gui8_SendUnsentDCDBRecord;
  const std::uint8_t firstSent = clock.gui8_FirstDCDBRecordSent;
  const std::uint32_t lastSent = clock.gui32_LastDCDBRecordSentTime;
  const ClockReading reading = TakeMonotonicClock();
  const auto now = static_cast<std::uint32_t>(reading.now.tv_sec);
  if (now - lastSent >= static_cast<std::uint32_t>(interval) && sendUnsent == 0 && firstSent == 1) {
    retry = 1;
  }
  PrintClockReading(reading, function);
  Print(
      "%s: current time = %u, last sent time = %u, publish interval = %d, gui8_SendUnsentDCDBRecord = %d, "
      "gui8_FirstDCDBRecordSent = %d, gui8_SendDCDBRecordFlags = %d\n",
      timer.name, now, lastSent, interval, sendUnsent, firstSent, clock.gui8_SendDCDBRecordFlags.load());
  Print(timer.message, retry.load());
}

void RunTimersOf(SourceKind kind, const char* function) {
  const FunctionTrace trace(function);
  for (const RetryTimer& timer : kTimers) {
    if (timer.kind == kind && (!IsMeterKind(kind) || IsLineEnabled(gMainState.DataCollectorSourcesConfig,
                                                                   kind, timer.enabledLine))) {
      RunTimer(timer, function);
    }
  }
}

}  // namespace

void SetAIDBRetryFlag() { RunTimersOf(AIO, __func__); }
void SetDIDBRetryFlag() { RunTimersOf(DIO, __func__); }
void SetTemperatureDBRetryFlag() { RunTimersOf(TEMPERATURE, __func__); }
void SetRS485DBRetryFlag() { RunTimersOf(RS485, __func__); }
void SetRS232DBRetryFlag() { RunTimersOf(RS232, __func__); }
void SetSNMPDBRetryFlag() { RunTimersOf(SNMP, __func__); }

}  // namespace datacollector
