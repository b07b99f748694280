// The periodic write windows of the running daemon, minute by minute: which sources it calls due, and which
// windows a record that was not stored opens.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/harness/FakeClock.h"
#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

constexpr const char* kMarksEnd = "FUNCTION:SetWRRecordsFlags:END\n";

std::string RoundOf(int minute) { return "ui8_WRMinute = " + std::to_string(minute) + "\n"; }

std::string ClockAt(int minute) { return (minute < 10 ? "10:0" : "10:") + std::to_string(minute) + ":30"; }

const std::string kAioDue = "Write Record Flag AIO";
const std::string kDioOrTemperatureDue = "Write Record Flag DIO";
std::string MeterDue(const std::string& line, int meter) {
  return "Write Record Flag " + line + " and MeterInd = " + std::to_string(meter);
}

// The example record with a value that no record may have: it is received and not stored.
std::string Spoilt(SourceKind kind) {
  const std::string value = kind == AIO ? "12.34" : "\"230.1\"";
  std::string payload = PayloadOf(kind);
  return payload.replace(payload.find(value), value.size(), "random()");
}

class WindowsTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
    environment = FakeClock::Environment();
  }

  // What a round of the main loop calls due, once the daemon's clock has been put to this minute.
  std::vector<std::string> DueAt(int minute) {
    clock.StandAt(ClockAt(minute));
    const Transcript::Mark before = Out().End();
    const auto begin = Out().WaitFor(RoundOf(minute), before);
    const auto end = begin ? Out().WaitFor(kMarksEnd, *begin) : begin;
    if (!end) {
      ADD_FAILURE() << "no round of minute " << minute;
      return {};
    }
    std::vector<std::string> due;
    for (const std::string& line : Split(Out().Since(*begin).substr(0, *end - *begin), '\n')) {
      if (line.starts_with("Write Record Flag ")) {
        due.push_back(line);
      }
    }
    return due;
  }

  const FakeClock clock{ClockAt(0)};
};

using Due = std::vector<std::string>;

TEST_F(WindowsTest, ASourceIsDueAtTheMinutesThatItsIntervalDoesNotDivide) {
  config.PublishInterval(AIO, 240).PublishInterval(DIO, 300).PublishInterval(TEMPERATURE, 240);
  config.PublishInterval(RS485, 300).PublishInterval(RS232, 240).PublishInterval(SNMP, 300);
  config.Set(kSourcesFile, "EMeterRS485Line2DataSourcePerPublishInterval", 240);
  Start();
  EXPECT_EQ(DueAt(4), (Due{kDioOrTemperatureDue, MeterDue("RS485Line1", 0), MeterDue("RS485Line1", 1),
                           MeterDue("RS485Line1", 2), MeterDue("RS485Line1", 3), MeterDue("RSSNMPLine1", 0),
                           MeterDue("RSSNMPLine1", 1)}));
  EXPECT_EQ(DueAt(5), (Due{kAioDue, kDioOrTemperatureDue, MeterDue("RS485Line2", 0),
                           MeterDue("RS485Line2", 1), MeterDue("RS485Line2", 2), MeterDue("RS485Line2", 3),
                           MeterDue("RSRS232Line1", 0), MeterDue("RSRS232Line1", 1)}));
}

TEST_F(WindowsTest, OnTheHourNothingIsDueAndInItsLastMinuteEverythingThatEverIs) {
  config.Only({AIO, RS232}).PublishInterval(AIO, 900).PublishInterval(RS232, 7200);
  Start();
  const Due both = {kAioDue, MeterDue("RSRS232Line1", 0), MeterDue("RSRS232Line1", 1)};
  const Due onlyRs232 = {both[1], both[2]};
  EXPECT_EQ(DueAt(59), both);
  EXPECT_EQ(DueAt(0), Due{});
  EXPECT_EQ(DueAt(8), both);
  EXPECT_EQ(DueAt(15), onlyRs232);
  EXPECT_EQ(DueAt(16), both);
}

TEST_F(WindowsTest, AnIntervalOfAMinuteIsNeverDueNorIsOneOfZeroWhichIsNamedOnceOnStandardError) {
  constexpr const char* kNeverDue = "DIO: a publish interval of 0 seconds is never due\n";
  config.Only({AIO, DIO, RS485}).PublishInterval(AIO, 60).PublishInterval(DIO, 0);
  config.PublishInterval(RS485, -300);
  Start();
  for (const int minute : {1, 4, 9, 59}) {
    EXPECT_EQ(DueAt(minute), Due{}) << minute;
  }
  EXPECT_EQ(Err().Count(kNeverDue), 1U) << Err().All();
  EXPECT_EQ(Err().Count("RS485 line 1: a publish interval of -300 seconds is never due\n"), 1U);
  EXPECT_EQ(Err().Count("AIO: a publish interval"), 0U);
}

TEST_F(WindowsTest, AtTheMinuteChangeOfARunningClockASourceBecomesDueForEveryRoundOfTheMinute) {
  config.Only({AIO}).PublishInterval(AIO, 240);
  clock.StandAt("10:04:00");
  Start();
  clock.RunFrom("10:04:58");
  const auto change = Out().WaitFor(RoundOf(5));
  ASSERT_TRUE(change);
  const auto fourth = Out().WaitForCount(RoundOf(5), 3, *change);
  ASSERT_TRUE(fourth);
  EXPECT_GE(Out().Count(RoundOf(4)), 1U);
  EXPECT_EQ(Out().All().find(kAioDue), Out().All().find(kAioDue, *change));
  EXPECT_GE(Out().Count(kAioDue, *change), 3U);
}

TEST_F(WindowsTest, APeriodThatEndsWithoutARecordIsNotFilledAsNobodyHasAskedForOne) {
  config.PublishInterval(AIO, 240).PublishInterval(RS485, 240);
  Start();
  EXPECT_FALSE(DueAt(5).empty());
  EXPECT_TRUE(DueAt(8).empty());
  WaitForLoopRounds(1);
  EXPECT_EQ(Out().Count("Entering Pack"), 0U);
  EXPECT_EQ(Out().Count("AfterPeriodicMinute[0] = "), 0U);
  EXPECT_GE(Out().Count("DBWriteFlags.gui8_RS485WriteRecordsAfterPeriodicMinute[0][0] = 0, "), 1U);
  EXPECT_EQ(Out().Count("AfterPeriodicMinute[0][0] = 1"), 0U);
}

TEST_F(WindowsTest, ARecordOfAnIoKindThatIsNotStoredOpensItsWindowUntilTheNextRecord) {
  constexpr const char* kOpen =
      "\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[AIO]=1 ******** \n\n ";
  config.Only({AIO}).Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", 1);
  Start();
  Deliver(FactsOf(AIO).recordTopic, Spoilt(AIO));
  const Transcript::Mark failed = Out().End();
  WaitForLoopRounds(2);
  EXPECT_GE(Out().Count(kOpen, failed), 2U);
  Store(AIO);
  WaitForLoopRounds(1);  // the round that was under way
  const Transcript::Mark stored = Out().End();
  WaitForLoopRounds(1);
  EXPECT_EQ(Out().Count(kOpen, stored), 0U);
}

// The loop asks for the I/O kind whose place is the line's: AIO for line 1, DIO for line 2.
class MeterWindowsTest : public WindowsTest {
 protected:
  // Has a record of line 1 and one of line 2 not stored, and then one of each stored. The windows show
  // themselves as "[meter][line]".
  void LoseAndStoreARecordOfBothLines() {
    config.Set(kSourcesFile, "EMeterRS485Line2DataSourceEnable", 1);
    Start();
    Deliver(FactsOf(RS485).recordTopic, Spoilt(RS485));
    Deliver(FactsOf(RS485).recordTopic, OfLine2(Spoilt(RS485)));
    WaitForLoopRounds(1);
    Deliver(FactsOf(RS485).recordTopic, PayloadOf(RS485));
    Deliver(FactsOf(RS485).recordTopic, OfLine2(PayloadOf(RS485)));
    EXPECT_EQ(RowsOf(RS485).size(), 2U);
  }

  static std::string OfLine2(std::string payload) {
    const std::string line1 = ",1,1,\"PM3-A\"";
    return payload.replace(payload.find(line1), line1.size(), ",2,1,\"PM3-A\"");
  }

  // The windows of this line, and none of the other's, were open, and its record was the one that its period
  // had waited for.
  void ExpectOnlyLine(int line) const {
    EXPECT_GE(Opened(line), 1U);
    EXPECT_EQ(Served(line), 1U);
    const int other = line == 1 ? 2 : 1;
    EXPECT_EQ(Opened(other), 0U);
    EXPECT_EQ(Served(other), 0U);
  }

 private:
  std::size_t Opened(int line) const {
    return Out().Count("\n\n *********** DBWriteFlags.gui8_RS485WriteRecordsWithinPeriodicMinute[0][" +
                       std::to_string(line - 1) + "]=1******** \n\n");
  }
  std::size_t Served(int line) const {
    return Out().Count("\n\n*******************DBWriteFlags.gui8_RS485PeriodicRecordsWritten[0][RS485Line" +
                       std::to_string(line) + "]=1 ^^^^*******************n\n");
  }
};

TEST_F(MeterWindowsTest, WithAioAloneTheWindowsOfLine1Open) {
  config.Only({AIO, RS485});
  LoseAndStoreARecordOfBothLines();
  ExpectOnlyLine(1);
}

TEST_F(MeterWindowsTest, WithDioAloneTheWindowsOfLine2Open) {
  config.Only({DIO, RS485});
  LoseAndStoreARecordOfBothLines();
  ExpectOnlyLine(2);
}

}  // namespace
}  // namespace datacollector::gateway
