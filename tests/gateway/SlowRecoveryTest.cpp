// A record that arrives while the recovery of its kind's last number pauses between two attempts, and what
// the records of the other kinds have to wait for it.
#include <gtest/gtest.h>

#include <chrono>
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

  // Starts the daemon, whose first attempt fails, and publishes a record of the kind and one of another.
  void LaunchAndPublish() {
    Launch();
    WaitUntilSubscribed();
    ASSERT_TRUE(Out().WaitFor("can't read last record from table 'RS232_table'\n"));
    source->PublishLater(FactsOf(RS232).recordTopic, PayloadOf(RS232, 8));
    source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO));
    ASSERT_TRUE(Out().WaitFor("topic = <EnergyMeter/RS232/Record>\n"));
  }
};

TEST_F(SlowRecoveryTest, WithoutItsTableARecordKeepsNobodyWaiting) {
  Database(DatabaseOf(RS232)).Run("DROP TABLE RS232_table");
  LaunchAndPublish();
  EXPECT_TRUE(Out().WaitFor(FactsOf(AIO).stored));
  EXPECT_EQ(Out().Count(FactsOf(RS232).notStored), 1U);
  WaitUntilInLoop();
}

TEST_F(SlowRecoveryTest, ARecordThatHasWaitedTenSecondsEndsThePauseAfterALock) {
  {
    Database locker(DatabaseOf(RS232));
    locker.Run("BEGIN EXCLUSIVE");
    LaunchAndPublish();
  }
  EXPECT_TRUE(Out().WaitFor(FactsOf(AIO).stored, 0, std::chrono::seconds(60)));
  EXPECT_EQ(ColumnOf(RS232, "RecordNumber"), (std::vector<std::string>{"1", "2"}));
  WaitUntilInLoop();
}

}  // namespace
}  // namespace datacollector::gateway
