// What another thread does between two steps of the forwarding thread or of a retry timer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <utility>

#include "app/ForwardingThread.h"
#include "app/RetryTimers.h"
#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/outbound/HandOver.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/ExampleGateway.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/app/ThreadAlarm.h"

namespace datacollector {
namespace {

// What happens, once, around the calling thread's next reading of the clock.
struct Meanwhile {
  std::function<void()> beforeClock;
  std::function<void(const timespec& now)> afterClock;
};
thread_local Meanwhile meanwhile;

int WatchedClock(clockid_t clock, timespec* now) {
  if (meanwhile.beforeClock) {
    std::exchange(meanwhile.beforeClock, nullptr)();
  }
  const int result = ::clock_gettime(clock, now);
  if (meanwhile.afterClock) {
    std::exchange(meanwhile.afterClock, nullptr)(*now);
  }
  return result;
}

// Whose last record the timer of a kind looks at.
constexpr std::array<SourceKind, kSourceKinds> kWatched = {AIO, DIO, TEMPERATURE, RS485, RS485, RS485};
constexpr std::uint32_t kLongAgo = 3600;

class Interleaving : public ExampleGateway {
 protected:
  // RS-485 with one line, so that each kind has one timer.
  explicit Interleaving(SourceKind kind) : kind_(kind) {
    gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags[RS485Line2][0] = 0;
  }
  ~Interleaving() override { meanwhile = {}; }

  // The last record of the kind that the timer watches left long ago and was confirmed.
  void LetTheLastOneBeConfirmed() const {
    watched_.gui8_SendUnsentDCDBRecord = 1;
    watched_.gui8_FirstDCDBRecordSent = 1;
    watched_.gui32_LastDCDBRecordSentTime = now_ - kLongAgo;
    retry_ = 0;
  }

  // It waits for its confirmation: a retry is due.
  void LetTheLastOneWait() const {
    LetTheLastOneBeConfirmed();
    watched_.gui8_SendUnsentDCDBRecord = 0;
  }

  // The next one leaves, as the forwarding thread announces it.
  static void Announce(SourceKind kind) { HandOver(kind, gClientConfig, 0.0).Announce(9); }

  const SourceKind kind_;
  const std::uint32_t now_ = static_cast<std::uint32_t>(TakeMonotonicClock().now.tv_sec);
  KindSendFlags& watched_ = CloudConnectSendFlags[kWatched[kind_]];
  SendFlag<kRetryDue>& retry_ = CloudConnectSendFlags[kind_].gui8_SendDCDBRecordRetryFlags;
};

class EachKindInterleaving : public Interleaving, public ::testing::WithParamInterface<SourceKind> {
 protected:
  EachKindInterleaving() : Interleaving(GetParam()) {}
};

// Has the calling thread do something else for a moment, at any place that it has got to. What it does may
// touch atomics only.
class Interruption {
 public:
  explicit Interruption(std::function<void()> act) { act_ = std::move(act); }

  void In(long nanoseconds) {
    pending_ = true;
    alarm_.In(nanoseconds, 0);
  }
  static bool IsPending() { return pending_; }
  static void Await() {
    while (pending_) {
    }
  }

 private:
  static inline std::function<void()> act_;
  static inline std::atomic<bool> pending_ = false;

  const ThreadAlarm alarm_{[](int /*signal*/) {
    act_();
    pending_ = false;
  }};
};

class TimerInterleaving : public Interleaving {
 protected:
  TimerInterleaving() : Interleaving(AIO) {
    gMainState.DataCollectorSourcesConfig.i32_DataSourcesPublishInterval[AIO][0] = kLongAgo;
  }
};

// A kind that was not due is released just behind the look at its release time: it is due by that, and the
// release counts as one that came later.
TEST_P(EachKindInterleaving, AReleaseBehindTheLookAtItsTimeStaysInForceForTheNextRecord) {
  gui8_WanStatus = 1;
  MakeAllTables();
  AddRow(kind_, 5);
  AddRow(kind_, 6);
  for (KindSendFlags& flags : CloudConnectSendFlags) {
    flags.gui8_FirstDCDBRecordSent = 1;
  }
  KindSendFlags& flags = CloudConnectSendFlags[kind_];
  flags.gf64_SendDCDBRecordFlagSetTime.Set(10, 0);
  const double releaseTime = flags.gf64_SendDCDBRecordFlagSetTime.Seconds();
  flags.gui8_SendUnsentDCDBRecord = 1;
  flags.gf64_SendDCDBRecordFlagSetTime.Set(20, 0);
  flags.gui8_SendDCDBRecordFlags = 1;
  const LocalBroker broker;
  const ConnectedClient client(gClientConfig);
  CapturedOutput output;
  VisitIfDue(kind_, releaseTime);
  output.Out();
  EXPECT_EQ(flags.gi32_LastSentDCDBRecordNum, 5);
  EXPECT_EQ(int{flags.gui8_SendDCDBRecordFlags}, 1);
}

// Behind the clock, in the next second: against the time that was read the record would be 2^32 seconds old.
TEST_P(EachKindInterleaving, ARecordThatLeavesBehindTheReadingOfTheClockIsNotTakenForAnOldOne) {
  LetTheLastOneBeConfirmed();
  meanwhile.afterClock = [this](const timespec& now) {
    Announce(kWatched[kind_]);
    watched_.gui32_LastDCDBRecordSentTime = static_cast<std::uint32_t>(now.tv_sec) + 1;
  };
  CapturedOutput output;
  RunRetryTimers(kind_, WatchedClock);
  output.Out();
  EXPECT_FALSE(meanwhile.afterClock);
  EXPECT_EQ(int{retry_}, 0);
}

// The timer has seen all that it decides by: the record before has waited too long. The flag would send the
// new one again at once.
TEST_P(EachKindInterleaving, ARetryThatWasDecidedBeforeARecordLeavesIsNotSetForIt) {
  LetTheLastOneWait();
  meanwhile.afterClock = [this](const timespec& /*now*/) { Announce(kind_); };
  CapturedOutput output;
  RunRetryTimers(kind_, WatchedClock);
  output.Out();
  EXPECT_FALSE(meanwhile.afterClock);
  EXPECT_EQ(int{retry_}, 0);
}

// A flag that another thread sets meanwhile is no new record.
TEST_P(EachKindInterleaving, ARetryIsSetBesideASendThatIsAskedForMeanwhile) {
  LetTheLastOneWait();
  KindSendFlags& flags = CloudConnectSendFlags[kind_];
  meanwhile.afterClock = [&flags](const timespec& /*now*/) { flags.gui8_SendDCDBRecordFlags = 1; };
  CapturedOutput output;
  RunRetryTimers(kind_, WatchedClock);
  output.Out();
  EXPECT_EQ(int{retry_}, 1);
  EXPECT_EQ(int{flags.gui8_SendDCDBRecordFlags}, 1);
}

// At any moment: over and over, with an announcement that interrupts the timer. It reads the clock last; so
// the interruption comes later when it was there before the clock was read, else sooner, and keeps hitting
// the place where the flags are read.
TEST_F(TimerInterleaving, ARecordThatLeavesWhileItsTimerRunsIsNotTakenForAnOldOne) {
  constexpr int kRuns = 10000;
  constexpr long kStep = 20;  // nanoseconds
  long delay = 1000;
  int before = 0;
  int retries = 0;
  Interruption interruption([] { Announce(AIO); });
  CapturedOutput output;
  for (int run = 0; run < kRuns; ++run) {
    LetTheLastOneBeConfirmed();
    meanwhile.beforeClock = [&] {
      const bool early = !Interruption::IsPending();
      before += early ? 1 : 0;
      delay = std::max(delay + (early ? kStep : -kStep), 1L);
    };
    interruption.In(delay);
    RunRetryTimers(kind_, WatchedClock);
    Interruption::Await();
    retries += retry_;
  }
  output.Out();
  EXPECT_EQ(retries, 0);
  EXPECT_GT(before, 0);
  EXPECT_LT(before, kRuns);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachKindInterleaving, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
