#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ground/FileLogger.h"
#include "ground/Notices.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// The clock of the tests, in milliseconds. It never runs back: notices remember it over the tests.
std::int64_t testClock = 1'000'000'000;

int TestClock(clockid_t id, timespec* now) {
  EXPECT_EQ(id, CLOCK_MONOTONIC);
  now->tv_sec = static_cast<std::time_t>(testClock / 1000);
  now->tv_nsec = static_cast<long>(testClock % 1000 * 1'000'000);
  return 0;
}

// Each test starts with nothing left out and every line due at once.
class Notices : public ::testing::Test {
 protected:
  Notices() {
    std::filesystem::create_directories(kLogDirectory);
    const CapturedOutput output;
    FlushAllNotices(TestClock);
    testClock += 1'000'000;
    std::filesystem::remove(kLogFile);
  }
};

void Lose(SourceKind kind, const char* reason) { ReportLostRecord(kind, reason, TestClock); }

TEST_F(Notices, ALostRecordIsNamedOnStandardErrorAndInTheLog) {
  CapturedOutput output;
  for (const SourceKind kind : kAllKinds) {
    Lose(kind, "disk full");
  }
  EXPECT_EQ(output.Err(),
            "AIO record lost: disk full\nDIO record lost: disk full\nTEMPERATURE record lost: disk full\n"
            "RS485 record lost: disk full\nRS232 record lost: disk full\nSNMP record lost: disk full\n");
  EXPECT_EQ(CountOf("T: TEMPERATURE record lost: disk full\n", LogText()), 1U);
  EXPECT_EQ(CountOf("\n", LogText()), 6U);
}

TEST_F(Notices, AReasonIsDataAndStaysOneLine) {
  CapturedOutput output;
  Lose(AIO, "100 %s %n");
  Lose(DIO, "no such column:\n\"x\r\"");
  EXPECT_EQ(output.Err(), "AIO record lost: 100 %s %n\nDIO record lost: no such column: \"x \"\n");
  EXPECT_EQ(CountOf("T: AIO record lost: 100 %s %n\n", LogText()), 1U);
}

TEST_F(Notices, AReasonOfAnyLengthIsCutToTheLine) {
  CapturedOutput output;
  Lose(AIO, std::string(5000, 'r').c_str());
  EXPECT_EQ(output.Err(), "AIO record lost: " + std::string(400 - 17, 'r') + "\n");
}

TEST_F(Notices, WithinASecondOneLineOfAKindIsWrittenAndTheNextOneCountsTheOthers) {
  CapturedOutput output;
  Lose(AIO, "first");
  testClock += 999;
  Lose(AIO, "second");
  Lose(AIO, "third");
  Lose(DIO, "another kind");
  testClock += 1;
  Lose(AIO, "fourth");
  testClock += 1000;
  Lose(AIO, "fifth");
  EXPECT_EQ(output.Err(),
            "AIO record lost: first\nDIO record lost: another kind\nAIO record lost: fourth (and 2 more)\n"
            "AIO record lost: fifth\n");
  EXPECT_EQ(CountOf("T: AIO record lost: fourth (and 2 more)\n", LogText()), 1U);
}

TEST_F(Notices, WhatWasLeftOutComesOutWithTheFirstFlushThatFindsItDue) {
  CapturedOutput output;
  Lose(RS485, "first");
  Lose(RS485, "second");
  Lose(RS485, "third");
  testClock += 999;
  FlushNotices(TestClock);
  EXPECT_EQ(output.ErrSoFar(), "RS485 record lost: first\n");
  testClock += 1;
  FlushNotices(TestClock);
  FlushNotices(TestClock);
  Lose(RS485, "fourth");
  testClock += 1000;
  FlushNotices(TestClock);
  EXPECT_EQ(output.Err(),
            "RS485 record lost: first\nRS485 record lost: third (and 1 more)\nRS485 record lost: fourth\n");
}

TEST_F(Notices, AtTheEndOfTheProcessNothingWaitsForItsSecond) {
  CapturedOutput output;
  Lose(SNMP, "first");
  Lose(SNMP, "second");
  FlushAllNotices(TestClock);
  FlushAllNotices(TestClock);
  EXPECT_EQ(output.Err(), "SNMP record lost: first\nSNMP record lost: second\n");
}

TEST_F(Notices, AMisfitConfirmationIsNamedAtThePaceOfLostRecordsAndBesideThem) {
  CapturedOutput output;
  Lose(RS232, "full");
  ReportMisfitConfirmation(RS232, 7, "2026-01-02 03:04:05", TestClock);
  ReportMisfitConfirmation(RS232, -1, "x\ny", TestClock);
  testClock += 1000;
  ReportMisfitConfirmation(RS232, 9, "", TestClock);
  EXPECT_EQ(output.Err(),
            "RS232 record lost: full\n"
            "RS232 confirmation fits no row: record 7, 2026-01-02 03:04:05\n"
            "RS232 confirmation fits no row: record 9,  (and 1 more)\n");
  EXPECT_EQ(CountOf("T: RS232 confirmation fits no row: record 7, 2026-01-02 03:04:05\n", LogText()), 1U);
}

TEST_F(Notices, EvictionsAreSaidAtOnceAndThenOnceAMinuteWithTheNewestCount) {
  CapturedOutput output;
  ReportEvictedRecords(TEMPERATURE, 1, TestClock);
  ReportEvictedRecords(TEMPERATURE, 2, TestClock);
  testClock += 59'999;
  ReportEvictedRecords(TEMPERATURE, 3, TestClock);
  FlushNotices(TestClock);
  EXPECT_EQ(output.ErrSoFar(), "TEMPERATURE unsent records evicted: 1\n");
  testClock += 1;
  FlushNotices(TestClock);
  FlushNotices(TestClock);
  testClock += 30'000;
  ReportEvictedRecords(TEMPERATURE, 4, TestClock);
  testClock += 30'000;
  ReportEvictedRecords(TEMPERATURE, 5, TestClock);
  testClock += 60'000;
  FlushNotices(TestClock);
  EXPECT_EQ(output.Err(),
            "TEMPERATURE unsent records evicted: 1\nTEMPERATURE unsent records evicted: 3\n"
            "TEMPERATURE unsent records evicted: 5\n");
  EXPECT_EQ(CountOf("T: TEMPERATURE unsent records evicted: 5\n", LogText()), 1U);
}

TEST_F(Notices, EveryNoticeOfManyThreadsIsSaidOrCounted) {
  CapturedOutput output;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 3; ++thread) {
    threads.emplace_back([] {
      for (int record = 0; record < 1000; ++record) {
        Lose(AIO, "full");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  FlushAllNotices(TestClock);
  EXPECT_EQ(output.Err(), "AIO record lost: full\nAIO record lost: full (and 2998 more)\n");
}

}  // namespace
}  // namespace datacollector
