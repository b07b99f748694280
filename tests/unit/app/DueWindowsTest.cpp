// Which sources are due at a minute.
#include <gtest/gtest.h>

#include <string>

#include "app/WriteWindows.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class DueWindows : public ::testing::Test {
 protected:
  // All sources enabled, two meters on each line, intervals that make everything due at minute 16.
  DueWindows() {
    ZeroMainState(gMainState);
    ZeroFlags();
    for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
      sources_.i32_DataSourcesEnableFlags[kind][0] = 1;
    }
    for (std::size_t line = 0; line < 4; ++line) {
      sources_.i32_DataSourcesRS485EnableFlags[line][0] = 1;
      sources_.i32_NoOfEMetersInLine[line] = 2;
    }
    sources_.i32_DataSourcesRS232EnableFlags[0][0] = 1;
    sources_.i32_NoOfRS232EMetersInLine[0] = 2;
    sources_.i32_DataSourcesSNMPEnableFlags[0][0] = 1;
    sources_.i32_NoOfSNMPDevicesInLine[0] = 2;
    SetIntervals(900);
    SrcFlags = {3, 4, 1, 1};
  }
  ~DueWindows() override {
    ZeroMainState(gMainState);
    ZeroFlags();
  }

  void SetIntervals(std::int32_t seconds) {
    for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
      sources_.i32_DataSourcesPublishInterval[kind][0] = seconds;
    }
    for (std::size_t line = 0; line < 4; ++line) {
      sources_.i32_DataSourcesRS485PublishInterval[line][0] = seconds;
    }
    sources_.i32_DataSourcesRS232PublishInterval[0][0] = seconds;
    sources_.i32_DataSourcesSNMPPublishInterval[0][0] = seconds;
  }

  static std::string Set(std::uint8_t minute) {
    CapturedOutput output;
    SetWRRecordsFlags(minute);
    return WithoutLineNumbers(output.Out());
  }
  static std::string Traced(int minute, const std::string& text) {
    return datacollector::Traced("WriteWindows.cpp", "SetWRRecordsFlags",
                                 "ui8_WRMinute = " + std::to_string(minute) + "\n" + text);
  }

  static int DueSources() {
    int due = 0;
    for (const PeriodicWindow& window : DBWriteFlags) {
      due += window.gui8_WriteRecordsDue;
    }
    return due;
  }

  static constexpr const char* kRs232Tests = "Inside loop\nInside case RS232Line1\n";
  static constexpr const char* kAllTexts =
      "Write Record Flag AIO\nWrite Record Flag DIO\nWrite Record Flag DIO\n"
      "Write Record Flag RS485Line1 and MeterInd = 0\nWrite Record Flag RS485Line1 and MeterInd = 1\n"
      "Write Record Flag RS485Line2 and MeterInd = 0\nWrite Record Flag RS485Line2 and MeterInd = 1\n"
      "Inside loop\nInside case RS232Line1\nInside case RS232Line1 enable flag\n"
      "Inside case RS232Line1 publish interval\n"
      "Write Record Flag RSRS232Line1 and MeterInd = 0\nWrite Record Flag RSRS232Line1 and MeterInd = 1\n"
      "Write Record Flag RSSNMPLine1 and MeterInd = 0\nWrite Record Flag RSSNMPLine1 and MeterInd = 1\n";

  DataCollectorSourcesConfig& sources_ = gMainState.DataCollectorSourcesConfig;
};

// Temperature shows itself by DIO's text.
TEST_F(DueWindows, EverySourceIsMarkedAndToldInTheFixedOrder) {
  EXPECT_EQ(Set(16), Traced(16, kAllTexts));
  EXPECT_EQ(DueSources(), 3 + 2 * 2 + 2 + 2);
  EXPECT_EQ(DBWriteFlags.At(RS485, 1, 1).gui8_WriteRecordsDue, 1);
  EXPECT_EQ(DBWriteFlags.At(RS485, 0, 2).gui8_WriteRecordsDue, 0);
}

TEST_F(DueWindows, TheRemainderDecidesAndNotTheMultiple) {
  const std::string none = std::string(kRs232Tests) + "Inside case RS232Line1 enable flag\n";
  for (const std::uint8_t minute : {std::uint8_t{0}, std::uint8_t{15}, std::uint8_t{45}}) {
    EXPECT_EQ(Set(minute), Traced(minute, none));
    EXPECT_EQ(DueSources(), 0);
  }
  EXPECT_EQ(Set(59), Traced(59, kAllTexts));
}

TEST_F(DueWindows, AnIntervalOfAMinuteIsNeverDue) {
  SetIntervals(60);
  for (std::uint8_t minute = 0; minute < 60; ++minute) {
    Set(minute);
  }
  EXPECT_EQ(DueSources(), 0);
}

TEST_F(DueWindows, AnIntervalThatNoMinuteReachesIsDueAtEveryMinuteButTheFirst) {
  SetIntervals(86400);
  Set(0);
  EXPECT_EQ(DueSources(), 0);
  Set(1);
  EXPECT_EQ(DueSources(), 11);
}

TEST_F(DueWindows, AnIntervalOfZeroOrLessIsNeverDue) {
  for (const std::int32_t interval : {0, -1, -60}) {
    SetIntervals(interval);
    Set(16);
    EXPECT_EQ(DueSources(), 0) << interval;
  }
}

TEST_F(DueWindows, ASourceThatIsDisabledIsNotMarked) {
  sources_.i32_DataSourcesEnableFlags[DIO][0] = 0;
  sources_.i32_DataSourcesRS485EnableFlags[0][0] = 2;
  sources_.i32_DataSourcesRS232EnableFlags[0][0] = 0;
  sources_.i32_DataSourcesSNMPEnableFlags[0][0] = 0;
  EXPECT_EQ(Set(16), Traced(16,
                            "Write Record Flag AIO\nWrite Record Flag DIO\n"
                            "Write Record Flag RS485Line2 and MeterInd = 0\n"
                            "Write Record Flag RS485Line2 and MeterInd = 1\n" +
                                std::string(kRs232Tests)));
}

TEST_F(DueWindows, ASourceThatIsNotCountedIsNotLookedAt) {
  SrcFlags = {1, 1, 0, 0};
  EXPECT_EQ(Set(16), Traced(16,
                            "Write Record Flag AIO\n"
                            "Write Record Flag RS485Line1 and MeterInd = 0\n"
                            "Write Record Flag RS485Line1 and MeterInd = 1\n"));
}

TEST_F(DueWindows, CountsOutsideTheTablesAreCutToThem) {
  SrcFlags = {100, 100, 100, 100};
  sources_.i32_NoOfEMetersInLine.fill(1000);
  sources_.i32_NoOfRS232EMetersInLine.fill(1000);
  sources_.i32_NoOfSNMPDevicesInLine.fill(1000);
  Set(16);
  EXPECT_EQ(DueSources(), 3 + 200 + 10 + 10);
  ZeroFlags();
  SrcFlags = {-1, -1, -1, -1};
  EXPECT_EQ(Set(16), Traced(16, ""));
}

TEST_F(DueWindows, WithoutMetersALinesMetersAreNotMarked) {
  sources_.i32_NoOfEMetersInLine.fill(0);
  sources_.i32_NoOfRS232EMetersInLine.fill(-1);
  sources_.i32_NoOfSNMPDevicesInLine.fill(0);
  Set(16);
  EXPECT_EQ(DueSources(), 3);
}

TEST_F(DueWindows, TheFlagIsOnlyEverSet) {
  Set(16);
  Set(15);
  EXPECT_EQ(DueSources(), 11);
}

TEST_F(DueWindows, IntervalsThatAreNeverDueAreNamedForEnabledSources) {
  SetIntervals(0);
  sources_.i32_DataSourcesPublishInterval[AIO][0] = 60;
  sources_.i32_DataSourcesEnableFlags[TEMPERATURE][0] = 0;
  sources_.i32_DataSourcesRS485PublishInterval[1][0] = -5;
  CapturedOutput output;
  ReportIntervalsThatAreNeverDue();
  EXPECT_EQ(output.Out(), "");
  EXPECT_EQ(output.Err(),
            "DIO: a publish interval of 0 seconds is never due\n"
            "RS485 line 1: a publish interval of 0 seconds is never due\n"
            "RS485 line 2: a publish interval of -5 seconds is never due\n"
            "RS232 line 1: a publish interval of 0 seconds is never due\n"
            "SNMP line 1: a publish interval of 0 seconds is never due\n");
}

TEST_F(DueWindows, IntervalsThatCanBeDueAreNotNamed) {
  CapturedOutput output;
  ReportIntervalsThatAreNeverDue();
  EXPECT_EQ(output.Err(), "");
}

}  // namespace
}  // namespace datacollector
