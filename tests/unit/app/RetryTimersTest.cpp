#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <ostream>
#include <regex>
#include <string>

#include "app/RetryTimers.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/RoundBell.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr std::int32_t kInterval = 3600;

std::uint32_t Now() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(now.tv_sec);
}

// One timer: whose flag it sets, and whose sending it watches.
struct TimerWords {
  SourceKind kind;
  SourceKind watched;
  void (*run)();
  std::string function;
  std::string input;  // at the start of the line of inputs
  std::string flag;

  friend void PrintTo(const TimerWords& value, std::ostream* out) { *out << value.function; }
};

const std::array<TimerWords, kSourceKinds> kTimers = {{
    {AIO, AIO, SetAIDBRetryFlag, "SetAIDBRetryFlag", "AIO", "gui8_SendDCDBRecordRetryFlags[AIO]"},
    {DIO, DIO, SetDIDBRetryFlag, "SetDIDBRetryFlag", "DIO", "gui8_SendDCDBRecordRetryFlags[DIO]"},
    {TEMPERATURE, TEMPERATURE, SetTemperatureDBRetryFlag, "SetTemperatureDBRetryFlag", "TEMPERATURE",
     "gui8_SendDCDBRecordRetryFlags[TEMPERATURE]"},
    {RS485, RS485, SetRS485DBRetryFlag, "SetRS485DBRetryFlag", "RS485Line1",
     "gui8_RS485SendDCDBRecordRetryFlags"},
    {RS232, RS485, SetRS232DBRetryFlag, "SetRS232DBRetryFlag", "RS232Line1",
     "gui8_RS232SendDCDBRecordRetryFlags"},
    {SNMP, RS485, SetSNMPDBRetryFlag, "SetSNMPDBRetryFlag", "SNMPLine1", "gui8_SNMPSendDCDBRecordRetryFlags"},
}};

class RetryTimerBase : public ::testing::Test {
 protected:
  // Everything is enabled but RS-485 line 2, with an hour's interval.
  RetryTimerBase() {
    ZeroMainState(gMainState);
    ZeroFlags();
    for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
      sources_.i32_DataSourcesEnableFlags[kind][0] = 1;
      sources_.i32_DataSourcesPublishInterval[kind][0] = kInterval;
    }
    sources_.i32_DataSourcesRS485EnableFlags[0][0] = 1;
    sources_.i32_DataSourcesRS485PublishInterval[0][0] = kInterval;
    sources_.i32_DataSourcesRS232EnableFlags[0][0] = 1;
    sources_.i32_DataSourcesSNMPEnableFlags[0][0] = 1;
  }
  ~RetryTimerBase() override {
    ZeroMainState(gMainState);
    ZeroFlags();
  }

  // The kind's last record left `ago` seconds ago and waits for its confirmation.
  static void Wait(SourceKind kind, std::uint32_t ago) {
    KindSendFlags& flags = CloudConnectSendFlags[kind];
    flags.gui32_LastDCDBRecordSentTime = Now() - ago;
    flags.gui8_SendUnsentDCDBRecord = 0;
    flags.gui8_FirstDCDBRecordSent = 1;
  }
  static int RetryOf(SourceKind kind) { return CloudConnectSendFlags[kind].gui8_SendDCDBRecordRetryFlags; }

  DataCollectorSourcesConfig& sources_ = gMainState.DataCollectorSourcesConfig;
};

class RetryTimer : public RetryTimerBase, public ::testing::WithParamInterface<TimerWords> {
 protected:
  // Runs the timer from a lowered flag and returns the flag.
  int Run() {
    const TimerWords& timer = GetParam();
    CloudConnectSendFlags[timer.kind].gui8_SendDCDBRecordRetryFlags = 0;
    CapturedOutput output;
    timer.run();
    out_ = WithoutClock(WithoutLineNumbers(output.Out()));
    return RetryOf(timer.kind);
  }
  KindSendFlags& Watched() const { return CloudConnectSendFlags[GetParam().watched]; }
  void SetInterval(std::int32_t seconds) const {
    if (GetParam().watched == RS485) {
      sources_.i32_DataSourcesRS485PublishInterval[0][0] = seconds;
    } else {
      sources_.i32_DataSourcesPublishInterval[GetParam().watched][0] = seconds;
    }
  }

  std::string out_;
};

TEST_P(RetryTimer, ARecordThatWaitsAsLongAsTheIntervalIsSentAgain) {
  Wait(GetParam().watched, kInterval);
  EXPECT_EQ(Run(), 1);
  Wait(GetParam().watched, kInterval + 1000);
  EXPECT_EQ(Run(), 1);
}

TEST_P(RetryTimer, ARecordThatWaitsLessThanTheIntervalIsNot) {
  Wait(GetParam().watched, kInterval - 1000);
  EXPECT_EQ(Run(), 0);
  Wait(GetParam().watched, 0);
  EXPECT_EQ(Run(), 0);
}

TEST_P(RetryTimer, OnlyAWaitingRecordIsSentAgain) {
  for (std::uint8_t unsent = 0; unsent < 2; ++unsent) {
    for (std::uint8_t first = 0; first < 2; ++first) {
      Wait(GetParam().watched, kInterval);
      Watched().gui8_SendUnsentDCDBRecord = unsent;
      Watched().gui8_FirstDCDBRecordSent = first;
      EXPECT_EQ(Run(), unsent == 0 && first == 1 ? 1 : 0) << int{unsent} << " " << int{first};
    }
  }
}

TEST_P(RetryTimer, TheSendFlagPlaysNoPart) {
  Wait(GetParam().watched, kInterval);
  Watched().gui8_SendDCDBRecordFlags = 1;
  EXPECT_EQ(Run(), 1);
}

TEST_P(RetryTimer, NeverLowersTheFlag) {
  CloudConnectSendFlags[GetParam().kind].gui8_SendDCDBRecordRetryFlags = 1;
  CapturedOutput output;
  GetParam().run();
  EXPECT_EQ(RetryOf(GetParam().kind), 1);
  output.Out();
}

TEST_P(RetryTimer, SetsTheFlagOfItsKindAlone) {
  Wait(GetParam().watched, kInterval);
  Run();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(RetryOf(kind), kind == GetParam().kind ? 1 : 0) << kind;
  }
}

TEST_P(RetryTimer, WatchesTheSendingOfItsClockAlone) {
  for (const SourceKind kind : kAllKinds) {
    ZeroFlags();
    Wait(kind, kInterval);
    EXPECT_EQ(Run(), kind == GetParam().watched ? 1 : 0) << kind;
  }
}

TEST_P(RetryTimer, AnIntervalOfZeroIsDueAtOnce) {
  SetInterval(0);
  Wait(GetParam().watched, 0);
  EXPECT_EQ(Run(), 1);
}

// Seconds are compared as unsigned 32 bits.
TEST_P(RetryTimer, ANegativeIntervalIsNeverDue) {
  SetInterval(-1);
  Wait(GetParam().watched, 1000000);
  EXPECT_EQ(Run(), 0);
}

TEST_P(RetryTimer, TheComparisonSurvivesTheWrapOfTheClock) {
  Wait(GetParam().watched, 0U - 1000U);  // 1000 seconds in the future: almost 2^32 seconds ago
  EXPECT_EQ(Run(), 1);
}

TEST_P(RetryTimer, PrintsTheClockItsInputsAndTheFlag) {
  const TimerWords& timer = GetParam();
  Wait(timer.watched, kInterval);
  Watched().gui8_SendDCDBRecordFlags = 1;
  Run();
  const std::string place = "FILE:RetryTimers.cpp:LINE:N:FUNCTION:" + timer.function;
  const std::string inputs =
      std::regex_replace(out_, std::regex("current time = [0-9]+"), "current time = S");
  EXPECT_EQ(inputs,
            place + ":START\n" + kClockLines + timer.input + ": current time = S, last sent time = " +
                std::to_string(Watched().gui32_LastDCDBRecordSentTime) +
                ", publish interval = 3600, gui8_SendUnsentDCDBRecord = 0, gui8_FirstDCDBRecordSent = 1, "
                "gui8_SendDCDBRecordFlags = 1\nCloudConnectSendFlags." +
                timer.flag + " = 1\n" + place + ":END\n");
}

INSTANTIATE_TEST_SUITE_P(Kinds, RetryTimer, ::testing::ValuesIn(kTimers),
                         [](const auto& timer) { return std::string(kKindWord[timer.param.kind]); });

class MeterRetryTimers : public RetryTimerBase {
 protected:
  static std::string Run(void (*timer)()) {
    CapturedOutput output;
    timer();
    return Folded(output.Out(), {"SetRS485DBRetryFlag", "SetRS232DBRetryFlag", "SetSNMPDBRetryFlag"});
  }
};

TEST_F(MeterRetryTimers, TheSecondRs485LineHasATimerOfItsOwnUnderTheNameOfTheThird) {
  sources_.i32_DataSourcesRS485EnableFlags[1][0] = 1;
  sources_.i32_DataSourcesRS485PublishInterval[1][0] = kInterval / 2;
  Wait(RS485, kInterval / 2);
  const std::string out = Run(SetRS485DBRetryFlag);
  const std::size_t first = out.find("RS485Line1: ");
  const std::size_t second = out.find("RS485Line3: ");
  ASSERT_NE(first, std::string::npos) << out;
  ASSERT_NE(second, std::string::npos) << out;
  EXPECT_LT(first, second);
  EXPECT_EQ(out.find("RS485Line2"), std::string::npos);
  EXPECT_NE(out.find("gui8_RS485SendDCDBRecordRetryFlags = 0\n", first), std::string::npos);
  EXPECT_NE(out.find("gui8_RS485SendDCDBRecordRetryFlags = 1\n", second), std::string::npos);
  EXPECT_EQ(RetryOf(RS485), 1);
}

TEST_F(MeterRetryTimers, ADisabledRs485LineHasNone) {
  sources_.i32_DataSourcesRS485EnableFlags[0][0] = 0;
  sources_.i32_DataSourcesRS485EnableFlags[1][0] = 1;
  sources_.i32_DataSourcesRS485PublishInterval[1][0] = 2 * kInterval;
  Wait(RS485, kInterval);
  EXPECT_EQ(Run(SetRS485DBRetryFlag).find("RS485Line1"), std::string::npos);
  EXPECT_EQ(RetryOf(RS485), 0);
}

TEST_F(MeterRetryTimers, Rs485Lines3And4HaveNone) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesRS485EnableFlags[2][0] = 1;
  sources_.i32_DataSourcesRS485EnableFlags[3][0] = 1;
  Wait(RS485, kInterval);
  const std::string place = "FILE:RetryTimers.cpp:LINE:N:FUNCTION:SetRS485DBRetryFlag";
  EXPECT_EQ(Run(SetRS485DBRetryFlag), place + ":START\n" + place + ":END\n");
  EXPECT_EQ(RetryOf(RS485), 0);
}

TEST_F(MeterRetryTimers, OfADisabledLineDoNothing) {
  sources_.i32_DataSourcesRS232EnableFlags[0][0] = 0;
  sources_.i32_DataSourcesSNMPEnableFlags[0][0] = 0;
  Wait(RS485, kInterval);
  Run(SetRS232DBRetryFlag);
  Run(SetSNMPDBRetryFlag);
  EXPECT_EQ(RetryOf(RS232), 0);
  EXPECT_EQ(RetryOf(SNMP), 0);
}

// RS-232 and SNMP share the RS-485 timer, whether RS-485 is enabled or not, and never look at their own.
TEST_F(MeterRetryTimers, Rs232AndSnmpGoByTheRs485TimerEvenWhereRs485IsDisabled) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesRS232PublishInterval[0][0] = 10 * kInterval;
  sources_.i32_DataSourcesSNMPPublishInterval[0][0] = 10 * kInterval;
  Wait(RS485, kInterval);
  Run(SetRS232DBRetryFlag);
  Run(SetSNMPDBRetryFlag);
  EXPECT_EQ(RetryOf(RS232), 1);
  EXPECT_EQ(RetryOf(SNMP), 1);
}

// With fast rounds a record of any kind waits for its confirmation, and for its own.
class FastRetryTimers : public MeterRetryTimers {
 protected:
  FastRetryTimers() {
    gMainState.ui16_FastRoundPause = 10;
    sources_.i32_DataSourcesRS232PublishInterval[0][0] = kInterval;
    sources_.i32_DataSourcesSNMPPublishInterval[0][0] = kInterval;
  }
  ~FastRetryTimers() override { AwaitRing(0); }
};

TEST_F(FastRetryTimers, EachKindGoesByItsOwnLastRecord) {
  Wait(RS485, kInterval);
  Wait(RS232, 0);
  Run(SetRS232DBRetryFlag);
  Run(SetSNMPDBRetryFlag);
  EXPECT_EQ(RetryOf(RS232), 0);
  EXPECT_EQ(RetryOf(SNMP), 0);
  Wait(RS485, 0);
  Wait(RS232, kInterval);
  Wait(SNMP, kInterval);
  Run(SetRS232DBRetryFlag);
  Run(SetSNMPDBRetryFlag);
  EXPECT_EQ(RetryOf(RS232), 1);
  EXPECT_EQ(RetryOf(SNMP), 1);
  EXPECT_EQ(RetryOf(RS485), 0);
}

TEST_F(FastRetryTimers, TheLongestIntervalOfTheEnabledLinesCounts) {
  sources_.i32_DataSourcesRS485EnableFlags[1][0] = 1;
  sources_.i32_DataSourcesRS485PublishInterval[1][0] = 2 * kInterval;
  sources_.i32_DataSourcesRS485PublishInterval[3][0] = 3 * kInterval;
  Wait(RS485, kInterval);
  Run(SetRS485DBRetryFlag);
  EXPECT_EQ(RetryOf(RS485), 0);
  Wait(RS485, 2 * kInterval);
  Run(SetRS485DBRetryFlag);
  EXPECT_EQ(RetryOf(RS485), 1);
}

// Nothing else would ever send such a record again.
TEST_F(FastRetryTimers, Rs485Lines3And4AreRetriedToo) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesRS485EnableFlags[2][0] = 1;
  sources_.i32_DataSourcesRS485PublishInterval[2][0] = kInterval;
  Wait(RS485, kInterval);
  Run(SetRS485DBRetryFlag);
  EXPECT_EQ(RetryOf(RS485), 1);
}

TEST_F(FastRetryTimers, ARetryRingsOnce) {
  Wait(AIO, kInterval);
  Run(SetAIDBRetryFlag);
  EXPECT_TRUE(AwaitRing(0));
  Run(SetAIDBRetryFlag);
  EXPECT_EQ(RetryOf(AIO), 1);
  EXPECT_FALSE(AwaitRing(0));
}

}  // namespace
}  // namespace datacollector
