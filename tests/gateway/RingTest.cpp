// The bounded table over restarts: numbering, which rows give way, and the order of delivery.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class RingTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO}).LoopInterval(10);
  }
};

std::vector<std::string> Numbers(int first, int count, int limit) {
  std::vector<std::string> numbers;
  numbers.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    numbers.emplace_back(std::to_string((first - 1 + i) % limit + 1));
  }
  return numbers;
}

std::vector<std::string> Requests(int first, int count) { return Numbers(first, count, 1000000); }

TEST_F(RingTest, TwoHundredRecordsGoThroughATableOfFiftyWithARestartInTheMiddle) {
  WanDown();
  config.RowLimit(AIO, 50);
  Start();
  StoreFrom(AIO, 1, 100);
  Terminate();
  Start();
  StoreFrom(AIO, 101, 95);
  EXPECT_EQ(ColumnOf(AIO, "RequestID"), Requests(146, 50));
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), Numbers(46, 50, 50));

  // The oldest goes first, although its number is the highest.
  WanUp();
  ASSERT_TRUE(httpSendApp->WaitForPackets(AIO, 7));
  StoreFrom(AIO, 196, 5);
  EXPECT_EQ(ColumnOf(AIO, "RequestID"), Requests(151, 50));
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), Numbers(1, 50, 50));
  const std::vector<Packet> packets = httpSendApp->Packets(AIO);
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(packets[i].Request(), 146 + static_cast<int>(i));
    EXPECT_EQ(packets[i].Number(), (45 + static_cast<int>(i)) % 50 + 1);
  }
}

TEST_F(RingTest, AFullTableGivesUpItsOldestRowAndSaysWhich) {
  WanDown();
  config.RowLimit(AIO, 3);
  Start();
  StoreFrom(AIO, 1, 5);
  EXPECT_EQ(ColumnOf(AIO, "RequestID"), Requests(3, 3));
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), (std::vector<std::string>{"3", "1", "2"}));
  EXPECT_EQ(Out().Count("Deleted Record 1 from table 'AIO_table'\n"), 1U);
  EXPECT_EQ(Out().Count("Deleted Record 2 from table 'AIO_table'\n"), 1U);
  EXPECT_EQ(Out().Count("Deleted Record"), 2U);
}

TEST_F(RingTest, ALimitThatWasLoweredBelowTheRowsThatAreThereDeletesNothing) {
  WanDown();
  Start();
  StoreFrom(AIO, 1, 4);
  Terminate();
  config.RowLimit(AIO, 3);
  Start();
  StoreFrom(AIO, 5, 1);
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), (std::vector<std::string>{"1", "2", "3", "4", "5"}));
}

TEST_F(RingTest, UnsentRecordsGoOutAfterARestart) {
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, 3);
  httpSendApp->WaitForPacket(AIO, 0);
  Terminate();
  httpSendApp->Set(HttpSendApp::Delivered);
  Start();
  OpenSendGate();
  WaitUntilUpdated(AIO, 3);
  EXPECT_EQ(ColumnOf(AIO, "TxStatus"), (std::vector<std::string>{"1", "1", "1"}));
  EXPECT_EQ(httpSendApp->WaitForPacket(AIO, 1).text, httpSendApp->WaitForPacket(AIO, 0).text);
}

TEST_F(RingTest, ARecordThatArrivesBeforeTheRecoveryKeepsItsPlace) {
  WanDown();
  Start();
  StoreFrom(AIO, 1, 2);
  Terminate();
  config.LoopInterval(4000);  // the recovery comes after the first sleep of the main loop
  Launch();
  WaitUntilSubscribed();
  source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, 3));
  const auto arrived = Out().WaitFor("topic = <IOModule/AIO/Record>\n");
  const auto recovered = Out().WaitFor("Read last Record number '2' from table 'AIO_table'\n");
  const auto stored = Out().WaitFor(FactsOf(AIO).stored);
  ASSERT_TRUE(arrived);
  ASSERT_TRUE(recovered);
  ASSERT_TRUE(stored);
  EXPECT_LT(*arrived, *recovered);
  EXPECT_LT(*recovered, *stored);
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), (std::vector<std::string>{"1", "2", "3"}));
}

TEST_F(RingTest, ARecoveryThatFailedIsRepeatedBeforeTheNextRecord) {
  config.Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", 1);
  WanDown();
  Start();
  StoreFrom(AIO, 1, 2);
  Terminate();
  {
    Database locker(DatabaseOf(AIO));
    locker.Run("PRAGMA locking_mode=EXCLUSIVE");  // with a log, nothing else stops a reader
    locker.Run("BEGIN EXCLUSIVE");
    Launch();
    ASSERT_TRUE(Out().WaitFor("Returning FAILURE from function 'ReadLastRecordID'\n"));
    WaitUntilSubscribed();
    Deliver(FactsOf(AIO).recordTopic, PayloadOf(AIO, 3));
    EXPECT_EQ(Out().Count(FactsOf(AIO).notStored), 1U);
  }
  Store(AIO, 4);
  EXPECT_EQ(ColumnOf(AIO, "RequestID"), (std::vector<std::string>{"1", "2", "4"}));
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), (std::vector<std::string>{"1", "2", "3"}));
}

TEST_F(RingTest, AReaderThatLooksAllTheTimeCostsNoRecord) {
  WanDown();
  Start();
  std::jthread reader([](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      RowsOf(AIO);
    }
  });
  StoreFrom(AIO, 1, 50);
  reader.request_stop();
  reader.join();
  EXPECT_EQ(ColumnOf(AIO, "RequestID"), Requests(1, 50));
}

TEST_F(RingTest, KillsUnderAFloodOfRecordsLeaveAFullTableFull) {
  constexpr int kLimit = 20;
  config.RowLimit(AIO, kLimit);
  WanDown();
  Start();
  StoreFrom(AIO, 1, kLimit);
  for (int kill = 0; kill < 15; ++kill) {
    const Transcript::Mark before = Out().End();
    int last = 0;
    for (int record = 0; record < 100; ++record) {
      last = source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, record));
    }
    ASSERT_TRUE(Out().WaitForCount("Records Stored in table", static_cast<std::size_t>(kill) + 1, before));
    Kill();
    ASSERT_TRUE(source->WaitForCompletion(last));
    const std::vector<std::string> numbers = ColumnOf(AIO, "RecordNumber");
    EXPECT_EQ(numbers, Numbers(std::stoi(numbers.front()), kLimit, kLimit));
    Start();
  }
  EXPECT_EQ(Database(DatabaseOf(AIO)).Query("PRAGMA integrity_check").front().at("integrity_check"), "ok");
}

TEST_F(RingTest, AConfirmationForAReplacedRowTouchesNoOther) {
  config.RowLimit(AIO, 3);
  Start(HttpSendApp::Silent);
  Store(AIO, 1);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  // Round the ring until number 1 has been written in another second.
  int request = 1;
  do {
    StoreFrom(AIO, request + 1, 3);
    request += 3;
  } while (RowsOf(AIO).back().at("RecordReadTime") == packet.ReadTime());
  ASSERT_EQ(RowsOf(AIO).back().at("RecordNumber"), "1");
  httpSendApp->Confirm(packet, 1);
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(ColumnOf(AIO, "TxStatus"), (std::vector<std::string>{"0", "0", "0"}));
}

}  // namespace
}  // namespace datacollector::gateway
