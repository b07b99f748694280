// Records that arrive while the main thread pauses between two attempts at the recovery of a kind's last
// number: nobody waits for it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

// The interval of RS-232 is meant as milliseconds, as which all but the recoveries at start take it.
class SlowRecoveryTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    Start();
    Store(RS232);
    Terminate();
    config.Set(FactsOf(RS232).controlFile, "EMeterRS232DatabaseAccessWaitInterval", 600);
  }

  // Starts the daemon, whose first attempt fails, so that its main thread pauses for ten minutes.
  void LaunchIntoThePause() {
    Launch();
    WaitUntilSubscribed();
    ASSERT_TRUE(Out().WaitFor("can't read last record from table 'RS232_table'\n"));
    ASSERT_TRUE(Out().WaitFor("retry after waiting for an interval of '600'seconds\n"));
  }
};

TEST_F(SlowRecoveryTest, WithoutItsTableARecordKeepsNobodyWaiting) {
  Database(DatabaseOf(RS232)).Run("DROP TABLE RS232_table");
  LaunchIntoThePause();
  source->PublishLater(FactsOf(RS232).recordTopic, PayloadOf(RS232, 8));
  source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO));
  EXPECT_TRUE(Out().WaitFor(FactsOf(AIO).stored));
  EXPECT_EQ(Out().Count(FactsOf(RS232).notStored), 1U);
}

TEST_F(SlowRecoveryTest, AfterALockRecordsAreStoredAtOnceAndContinueTheNumbers) {
  {
    Database locker(DatabaseOf(RS232));
    locker.Run("PRAGMA locking_mode=EXCLUSIVE");
    locker.Run("BEGIN EXCLUSIVE");
    LaunchIntoThePause();
  }
  for (const SourceKind kind : {RS232, AIO, SNMP}) {
    Store(kind, 8);
  }
  EXPECT_EQ(ColumnOf(RS232, "RecordNumber"), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(Out().Count("retry after waiting for an interval of '600'seconds\n"), 1U);
}

}  // namespace
}  // namespace datacollector::gateway
