// A clock that fails, which nothing real brings about on demand.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <string>

#include "app/RetryTimers.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace {

thread_local bool clockFails = false;  // for the calling thread

}  // namespace

// Stands in front of the system's own in this program.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (clockFails) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
}

namespace datacollector {
namespace {

struct TimerName {
  void (*run)();
  std::string name;
  SourceKind watched;
  std::size_t readings;
};
const std::array<TimerName, kSourceKinds> kTimers = {
    {{SetAIDBRetryFlag, "SetAIDBRetryFlag", AIO, 1},
     {SetDIDBRetryFlag, "SetDIDBRetryFlag", DIO, 1},
     {SetTemperatureDBRetryFlag, "SetTemperatureDBRetryFlag", TEMPERATURE, 1},
     {SetRS485DBRetryFlag, "SetRS485DBRetryFlag", RS485, 2},
     {SetRS232DBRetryFlag, "SetRS232DBRetryFlag", RS485, 1},
     {SetSNMPDBRetryFlag, "SetSNMPDBRetryFlag", RS485, 1}}};

class ClockFailures : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {};

TEST_P(ClockFailures, OfATimerAreToldAndItGoesOnWithTimeZero) {
  const TimerName& timer = kTimers[GetParam()];
  KindSendFlags& watched = CloudConnectSendFlags[timer.watched];
  watched.gui8_FirstDCDBRecordSent = 1;
  watched.gui32_LastDCDBRecordSentTime = 0U - 60U;  // at time zero the interval of 60 s is just over
  CapturedOutput output;
  clockFails = true;
  timer.run();
  clockFails = false;
  EXPECT_EQ(CloudConnectSendFlags[GetParam()].gui8_SendDCDBRecordRetryFlags, 1);
  const std::string error = "FILE:RetryTimers.cpp:LINE:N:FUNCTION:" + timer.name +
                            ": => Error: clock_gettime Invalid argument : Error Number:22\n";
  EXPECT_EQ(WithoutLineNumbers(output.Err()), timer.readings == 1 ? error : error + error);
  const std::string out = output.Out();
  EXPECT_EQ(out.find("clock_gettime() successful"), std::string::npos);
  EXPECT_EQ(CountOf(": current time = 0, ", out), timer.readings);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ClockFailures, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
