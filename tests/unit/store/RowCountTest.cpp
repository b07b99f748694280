// The row count that is remembered between two writes, and what makes it worthless.

#include "store/RowCount.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class RowCountTest : public KindTest {
 protected:
  RowCountTest() {
    MakeTable(kind_);
    Config(kind_).ui16_MAXRecords = 3;
  }

  // The remembered count for the file as it is, -1 when there is none.
  int Remembered() {
    Database database;
    EXPECT_TRUE(database.Open(Path(kind_).c_str()));
    EXPECT_TRUE(database.Touch());
    const auto rows = gRowCounts[kind_].At(database.State());
    return rows ? *rows : -1;
  }

  // The count that the next write prints.
  std::string TotalOfNextWrite() {
    const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
    const std::string start = "total records = ";
    const std::size_t at = outcome.out.find(start);
    EXPECT_NE(at, std::string::npos) << outcome.out;
    const std::size_t number = at + start.size();
    return outcome.out.substr(number, outcome.out.find('\n', number) - number);
  }
};

TEST_P(RowCountTest, FollowsTheOwnInsertions) {
  EXPECT_EQ(Remembered(), -1);
  for (const int rows : {1, 2, 3, 3, 3}) {
    Store(kind_, 1);
    EXPECT_EQ(Remembered(), rows);
  }
}

TEST_P(RowCountTest, FollowsTheOwnUpdates) {
  Store(kind_, 2);
  DatabaseUpdate& update = Main().DataCollectorDBUpdate[kind_];
  update.i32_RecordNum = 2;
  update.i32_TxStatus = 1;
  update.i8_RecordReadTimeStamp = Main().DataCollectorDBData.i8_ReadTimeStamp[kind_];
  EXPECT_EQ(Silently([&] { return Update(kind_); }), 0);
  EXPECT_EQ(Select(kind_, "TxStatus", "WHERE RecordNumber = 2"), (Rows{{"1"}}));
  EXPECT_EQ(Remembered(), 2);
  update.i32_RecordNum = 77;
  EXPECT_EQ(Silently([&] { return Update(kind_); }), 0);
  EXPECT_EQ(Remembered(), 2);
}

TEST_P(RowCountTest, SomebodyElsesDeletionIsNoticed) {
  Store(kind_, 3);
  Execute(Path(kind_), "DELETE FROM " + Table(kind_) + " WHERE RecordNumber = 2");
  EXPECT_EQ(Remembered(), -1);
  EXPECT_EQ(TotalOfNextWrite(), "2");
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 3, 1}));
}

TEST_P(RowCountTest, SomebodyElsesInsertionBetweenTwoOwnCommitsIsNoticed) {
  Store(kind_, 1);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (2)");
  Silently([&] { return Update(kind_); });
  EXPECT_EQ(Remembered(), -1);
  EXPECT_EQ(TotalOfNextWrite(), "2");
  EXPECT_EQ(Remembered(), 3);
}

TEST_P(RowCountTest, ADatabaseThatWasReplacedIsCountedAnew) {
  Store(kind_, 3);
  ASSERT_EQ(::unlink(Path(kind_).c_str()), 0);
  MakeTable(kind_);
  EXPECT_EQ(TotalOfNextWrite(), "0");
}

// Commits of that journal mode leave no mark in the file's header.
TEST_P(RowCountTest, NothingIsRememberedOfAWriteAheadLog) {
  Execute(Path(kind_), "PRAGMA journal_mode = WAL");
  Store(kind_, 2);
  EXPECT_EQ(Remembered(), -1);
  Execute(Path(kind_), "DELETE FROM " + Table(kind_));
  EXPECT_EQ(TotalOfNextWrite(), "0");
}

TEST_P(RowCountTest, AFailedWriteChangesNothing) {
  Store(kind_, 3);
  Config(kind_).ui16_MaxDatabaseAccessRetry = 1;
  Receive(kind_, "no literal");
  EXPECT_EQ(Silently([&] { return Write(kind_); }), -1);
  EXPECT_EQ(Remembered(), 3);
}

TEST_P(RowCountTest, AFullTableWithoutTheNumberGrowsByOne) {
  Store(kind_, 3);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RecordNumber = 100");
  Store(kind_, 1);
  EXPECT_EQ(Remembered(), 4);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RowCountTest, ::testing::ValuesIn(kAllKinds), KindName);

FileState StateWithCounter(unsigned char counter) {
  FileState state;
  state.device = 1;
  state.file = 2;
  state.header[2] = state.header[3] = 1;
  state.header[11] = counter;
  return state;
}

TEST(RowCountRuleTest, OnlyTheVeryNextCommitIsFollowed) {
  RowCount count;
  count.Remember(StateWithCounter(5), 10);
  count.Follow(StateWithCounter(5), StateWithCounter(6), 1);
  EXPECT_EQ(count.At(StateWithCounter(6)), 11);
  count.Follow(StateWithCounter(6), StateWithCounter(8), 1);
  EXPECT_EQ(count.At(StateWithCounter(8)), std::nullopt);
}

TEST(RowCountRuleTest, AStateThatIsNotTheRememberedOneIsNotFollowed) {
  RowCount count;
  count.Remember(StateWithCounter(5), 10);
  count.Follow(StateWithCounter(6), StateWithCounter(7), 0);
  EXPECT_EQ(count.At(StateWithCounter(7)), std::nullopt);
}

TEST(RowCountRuleTest, AStateThatCouldNotBeReadIsNeverKnown) {
  RowCount count;
  count.Remember({}, 10);
  EXPECT_EQ(count.At({}), std::nullopt);
}

TEST(RowCountRuleTest, TheCounterMayWrap) {
  FileState last = StateWithCounter(0);
  last.header[8] = last.header[9] = last.header[10] = last.header[11] = 0xff;
  EXPECT_TRUE(StateWithCounter(0).IsNextCommitOf(last));
}

}  // namespace
}  // namespace datacollector
