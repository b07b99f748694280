// What the store says of readings that are lost, evicted or disputed.

#include <string>
#include <vector>

#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class StoreNoticesTest : public KindTest {
 protected:
  StoreNoticesTest() {
    MakeTable(kind_);
    Config(kind_).ui16_MAXRecords = 2;
    Config(kind_).ui16_MaxDatabaseAccessRetry = 1;
    Params(kind_).ui16_MaxReadTry = 1;
    Store(kind_, 2);
  }

  Outcome WriteOne() {
    return Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  }
  std::string Evictions() { return Query(Path(kind_), "PRAGMA user_version")[0][0]; }
  std::string Notice(const std::string& text) {
    return std::string(kKindIndexWord[kind_]) + " " + text + "\n";
  }
};

TEST_P(StoreNoticesTest, AnUnsentRowThatGivesWayIsCountedWithIt) {
  EXPECT_EQ(Evictions(), "0");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.err, Notice("unsent records evicted: 1"));
  EXPECT_NE(outcome.log.find("T: " + Notice("unsent records evicted: 1")), std::string::npos);
  EXPECT_EQ(Evictions(), "1");
  EXPECT_EQ(WriteOne().err, "");  // once a minute
  EXPECT_EQ(Evictions(), "2");
}

TEST_P(StoreNoticesTest, ASentRowIsNotCounted) {
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1");
  EXPECT_EQ(WriteOne().err, "");
  EXPECT_EQ(Evictions(), "0");
}

TEST_P(StoreNoticesTest, ARowThatStaysIsNotCounted) {
  Execute(Path(kind_), "CREATE TRIGGER forbid BEFORE INSERT ON " + Table(kind_) +
                           " BEGIN SELECT RAISE(ABORT, 'forbidden'); END");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.err, Lost("forbidden"));
  EXPECT_EQ(Evictions(), "0");
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2}));
}

TEST_P(StoreNoticesTest, TheCountSurvivesARestart) {
  Silently([&] { return Write(kind_); });
  ForgetStore();
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  Silently([&] { return Write(kind_); });
  EXPECT_EQ(Evictions(), "2");
}

TEST_P(StoreNoticesTest, AConfirmationThatFitsNoRowIsNamed) {
  DatabaseUpdate& update = Main().DataCollectorDBUpdate[kind_];
  update.i32_RecordNum = 77;
  update.i32_TxStatus = 1;
  update.i8_RecordReadTimeStamp.Assign(kReadTime);
  update.i8_TxTimeStamp.Assign("2026-11-20 10:00:09");
  const Outcome outcome = Observe([&] { return Update(kind_); });
  EXPECT_EQ(outcome.result, 0);
  const std::string notice = Notice(std::string("confirmation fits no row: record 77, ") + kReadTime);
  EXPECT_EQ(outcome.err, notice);
  EXPECT_EQ(outcome.log, "T: " + notice);
}

TEST_P(StoreNoticesTest, ALostRecordIsNamedWithItsReason) {
  Receive(kind_, "hex(7777)");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.err, Lost("record data is not a list of SQL literals"));
  EXPECT_NE(outcome.log.find("T: " + Lost("record data is not a list of SQL literals")), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Kinds, StoreNoticesTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
