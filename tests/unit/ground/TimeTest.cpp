#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "ground/GenericFunctions.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

std::string Traced(const std::string& function, const std::string& text) {
  return datacollector::Traced("GenericFunctions.cpp", function, text);
}

// The clock that the tests hand in: fails a number of times, then tells `seconds`.
struct FakeClock {
  int failures;
  int calls;
};
FakeClock fakeClock;

constexpr std::time_t kSeconds = 1700000000;

std::time_t FakeTime(std::time_t* /*out*/) {
  ++fakeClock.calls;
  return fakeClock.failures-- > 0 ? -1 : kSeconds;
}

std::tm* FakeLocalTime(const std::time_t* seconds, std::tm* local) {
  if (*seconds != kSeconds) {
    return nullptr;
  }
  *local = {};
  local->tm_year = 105;
  local->tm_mon = 0;
  local->tm_mday = 2;
  local->tm_hour = 3;
  local->tm_min = 4;
  local->tm_sec = 5;
  return local;
}

std::tm* NoLocalTime(const std::time_t* /*seconds*/, std::tm* /*local*/) { return nullptr; }

class EpochTimeStamp : public ::testing::Test {
 protected:
  static std::string Take(int failures) {
    fakeClock = {failures, 0};
    GetEpochTimeStamp(buffer_.data(), buffer_.size(), FakeTime);
    return buffer_.data();
  }

  static inline std::array<char, 25> buffer_;
};

TEST_F(EpochTimeStamp, IsTheSecondsSinceTheEpoch) {
  CapturedOutput output;
  EXPECT_EQ(Take(0), "1700000000");
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("GetEpochTimeStamp", "Success: Current System TimeStamp = 1700000000\n"));
  EXPECT_EQ(fakeClock.calls, 1);
}

TEST_F(EpochTimeStamp, GoesOnAfter2038) {
  GetEpochTimeStamp(buffer_.data(), buffer_.size(), [](std::time_t*) { return std::time_t{2209032000}; });
  EXPECT_STREQ(buffer_.data(), "2209032000");
}

TEST_F(EpochTimeStamp, AFailingClockIsAskedThreeMoreTimes) {
  CapturedOutput output;
  EXPECT_EQ(Take(3), "1700000000");
  EXPECT_EQ(WithoutLineNumbers(output.Out()), Traced("GetEpochTimeStamp",
                                                     "Failure: time() returned -1 so retrying 0 time\n"
                                                     "Failure: time() returned -1 so retrying 1 time\n"
                                                     "Failure: time() returned -1 so retrying 2 time\n"
                                                     "Success: Current System TimeStamp = 1700000000\n"));
  EXPECT_EQ(fakeClock.calls, 4);
}

TEST_F(EpochTimeStamp, TheLastValueIsWrittenWhateverItIs) {
  CapturedOutput output;
  EXPECT_EQ(Take(100), "-1");
  EXPECT_EQ(CountOf("so retrying", output.Out()), 3U);
  EXPECT_EQ(fakeClock.calls, 4);
}

TEST_F(EpochTimeStamp, StaysInsideItsBuffer) {
  std::array<char, 5> small;
  small.fill('x');
  fakeClock = {0, 0};
  CapturedOutput output;
  GetEpochTimeStamp(small.data(), 4, FakeTime);
  EXPECT_EQ(std::string(small.data(), small.size()), std::string("170\0x", 5));
}

class TimeStamp : public ::testing::Test {
 protected:
  static std::string Take(int failures, LocalTimeSource localTime = FakeLocalTime) {
    fakeClock = {failures, 0};
    buffer_.fill('x');
    GetTimeStamp(buffer_.data(), buffer_.size(), FakeTime, localTime);
    return buffer_.data();
  }

  static inline std::array<char, 25> buffer_;
};

TEST_F(TimeStamp, IsTheLocalTimeWithLeadingZeros) {
  CapturedOutput output;
  EXPECT_EQ(Take(0), "2005-01-02 03:04:05");
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("GetTimeStamp", "Success: Current System TimeStamp = 2005-01-02 03:04:05\n"));
  EXPECT_EQ(fakeClock.calls, 1);
}

TEST_F(TimeStamp, AFailingClockIsAskedFiveMoreTimes) {
  CapturedOutput output;
  EXPECT_EQ(Take(5), "2005-01-02 03:04:05");
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("GetTimeStamp",
                   "Failure: localtime returned NULL/-1 so retrying 0 time\n"
                   "Failure: localtime returned NULL/-1 so retrying 1 time\n"
                   "Failure: localtime returned NULL/-1 so retrying 2 time\n"
                   "Failure: localtime returned NULL/-1 so retrying 3 time\n"
                   "Failure: localtime returned NULL/-1 so retrying 4 time\n"
                   "Success: Current System TimeStamp = 2005-01-02 03:04:05\n"));
  EXPECT_EQ(fakeClock.calls, 6);
}

TEST_F(TimeStamp, AFailingConversionIsRepeatedLikeAFailingClock) {
  CapturedOutput output;
  EXPECT_EQ(Take(0, NoLocalTime), "");
  EXPECT_EQ(CountOf("Failure: localtime returned NULL/-1 so retrying", output.Out()), 5U);
  EXPECT_EQ(fakeClock.calls, 6);
}

// Of the system's own clock, around a call of `take`: the stamp is one of the seconds in between.
void ExpectLocalTimeOf(const std::function<std::string()>& take) {
  std::time_t before = std::time(nullptr);
  const std::string stamp = take();
  const std::time_t after = std::time(nullptr);
  bool found = false;
  for (; before <= after; ++before) {
    std::tm local{};
    ::localtime_r(&before, &local);
    std::array<char, 25> text;
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
    found = found || stamp == text.data();
  }
  EXPECT_TRUE(found) << stamp;
}

TEST_F(TimeStamp, OfTheSystemIsNow) {
  CapturedOutput output;
  ExpectLocalTimeOf([] {
    TimeStampText stamp{};
    stamp.Assign("0123456789012345678901234");
    GetTimeStamp(stamp);
    return std::string(stamp.c_str());
  });
}

TEST(ReadTimeStamp, IsInEpochSecondsForTheSettingOneAlone) {
  CapturedOutput output;
  TimeStampText stamp{};
  GetReadTimeStamp(stamp, 1);
  EXPECT_EQ(stamp.view().find_first_not_of("0123456789"), std::string_view::npos) << stamp.c_str();
  EXPECT_GT(std::atol(stamp.c_str()), 1700000000L);
  for (const std::uint16_t setting : {std::uint16_t{0}, std::uint16_t{2}}) {
    ExpectLocalTimeOf([&] {
      GetReadTimeStamp(stamp, setting);
      return std::string(stamp.c_str());
    });
  }
}

// Shifts the local time so that the present minute is the fifth of its hour.
class Minutes : public ::testing::Test {
 protected:
  ~Minutes() override {
    ::unsetenv("TZ");
    ::tzset();
  }

  static std::time_t MakeThisTheFifthMinute() {
    const std::time_t now = std::time(nullptr);
    const long shift = (65 - now / 60 % 60) % 60;
    std::array<char, 32> zone;
    std::snprintf(zone.data(), zone.size(), "XXX-00:%02ld", shift);
    ::setenv("TZ", zone.data(), 1);
    ::tzset();
    return now / 60;
  }
};

TEST_F(Minutes, AreTwoDigitsWithALeadingZero) {
  std::array<char, 25> buffer;
  std::string out;
  std::time_t minute = 0;
  do {
    minute = MakeThisTheFifthMinute();
    CapturedOutput output;
    GetMinutes(buffer.data(), buffer.size());
    out = WithoutLineNumbers(output.Out());
  } while (std::time(nullptr) / 60 != minute);
  EXPECT_STREQ(buffer.data(), "05");
  EXPECT_EQ(out, Traced("GetMinutes", "Success: Current minute = 05\n"));
}

int FailingClock(clockid_t /*clock*/, timespec* now) {
  now->tv_sec = 99;
  errno = EINVAL;
  return -1;
}

clockid_t askedClock;
int FixedClock(clockid_t clock, timespec* now) {
  askedClock = clock;
  *now = {12, 345};
  return 0;
}

TEST(MonotonicClock, AReadingIsThatOfTheMonotonicClock) {
  const ClockReading reading = TakeMonotonicClock(FixedClock);
  EXPECT_EQ(askedClock, CLOCK_MONOTONIC);
  EXPECT_EQ(reading.now.tv_sec, 12);
  EXPECT_EQ(reading.now.tv_nsec, 345);
  EXPECT_EQ(reading.error, 0);
}

TEST(MonotonicClock, AReadingThatFailedIsZero) {
  const ClockReading reading = TakeMonotonicClock(FailingClock);
  EXPECT_EQ(reading.now.tv_sec, 0);
  EXPECT_EQ(reading.now.tv_nsec, 0);
  EXPECT_EQ(reading.error, EINVAL);
}

TEST(MonotonicClock, AReadingIsPrintedInTwoLinesWithABlankAtTheEnd) {
  CapturedOutput output;
  PrintClockReading({{12, 345}, 0}, "Anything");
  EXPECT_EQ(output.Out(), "clock_gettime() successful\nCurrentTime sec = 12,  nsec = 345 \n");
  EXPECT_EQ(output.Err(), "");
}

TEST(MonotonicClock, AReadingThatFailedIsReportedUnderTheNameOfItsFunction) {
  CapturedOutput output;
  PrintClockReading({{}, EINVAL}, "on_message_callback", {"src/mqtt/Confirmations.cpp", 7});
  EXPECT_EQ(output.Out(), "");
  EXPECT_EQ(output.Err(),
            "FILE:Confirmations.cpp:LINE:7:FUNCTION:on_message_callback: => Error: clock_gettime Invalid "
            "argument : Error Number:22\n");
}

TEST(MonotonicClock, ReadingTakesAndPrints) {
  timespec before{};
  timespec after{};
  CapturedOutput output;
  ::clock_gettime(CLOCK_MONOTONIC, &before);
  const timespec now = ReadMonotonicClock("Anything");
  ::clock_gettime(CLOCK_MONOTONIC, &after);
  EXPECT_LE(before.tv_sec, now.tv_sec);
  EXPECT_LE(now.tv_sec, after.tv_sec);
  EXPECT_EQ(WithoutClock(output.Out()), kClockLines);
}

}  // namespace
}  // namespace datacollector
