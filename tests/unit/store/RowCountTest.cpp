// The remembered number of rows: who may change a table beside the daemon, and what is counted anew for it.

#include <string>
#include <vector>

#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class RowCountTest : public KindTest {
 protected:
  RowCountTest() {
    MakeTable(kind_);
    Config(kind_).ui16_MAXRecords = 5;
    Store(kind_, 3);
  }

  // What the next record's writer takes for the number of rows.
  std::string Total() {
    const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
    EXPECT_EQ(outcome.result, 0);
    const std::size_t start = outcome.out.find("total records = ");
    return outcome.out.substr(start, outcome.out.find('\n', start) - start);
  }
};

TEST_P(RowCountTest, GrowsWithTheDaemonsOwnRecordsUpToTheLimit) {
  for (const char* total : {"3", "4", "5", "5", "5"}) {
    EXPECT_EQ(Total(), std::string("total records = ") + total);
  }
  EXPECT_EQ(Numbers(kind_), (std::vector{4, 5, 1, 2, 3}));
}

TEST_P(RowCountTest, TakesNoticeOfRowsThatAnotherProgramAdds) {
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (77)");
  EXPECT_EQ(Total(), "total records = 4");
  EXPECT_EQ(Total(), "total records = 5");
  EXPECT_EQ(Select(kind_, "COUNT(*)"), (Rows{{"6"}}));  // no row had the number that made room
}

TEST_P(RowCountTest, TakesNoticeOfRowsThatAnotherProgramRemoves) {
  Store(kind_, 2);
  Execute(Path(kind_), "DELETE FROM " + Table(kind_) + " WHERE RecordNumber < 3");
  EXPECT_EQ(Total(), "total records = 3");
  EXPECT_EQ(Total(), "total records = 4");
  EXPECT_EQ(Numbers(kind_), (std::vector{3, 4, 5, 1, 2}));
}

TEST_P(RowCountTest, IsNotTrustedBesideATrigger) {
  Execute(Path(kind_), "CREATE TRIGGER twice AFTER INSERT ON " + Table(kind_) +
                           " WHEN new.RecordNumber < 100 BEGIN INSERT INTO " + Table(kind_) +
                           " (RecordNumber) VALUES (new.RecordNumber + 100); END");
  EXPECT_EQ(Total(), "total records = 3");
  EXPECT_EQ(Total(), "total records = 5");
}

TEST_P(RowCountTest, IsNotTrustedBesideAColumnThatReplaces) {
  const std::string table = Table(kind_);
  std::string columns;
  for (std::size_t column = 0; column < Config(kind_).ui16_NoOfColumns; ++column) {
    const std::string name = Config(kind_).i8_ColumnNames[column].c_str();
    columns += (column == 0 ? "" : ", ") + name + (name == "RequestID" ? " UNIQUE ON CONFLICT REPLACE" : "");
  }
  Execute(Path(kind_), "DROP TABLE " + table + "; CREATE TABLE " + table + " (" + columns + ")");
  EXPECT_EQ(Total(), "total records = 0");
  EXPECT_EQ(Total(), "total records = 1");
  EXPECT_EQ(Total(), "total records = 1");  // each record has replaced the one before
}

TEST_P(RowCountTest, IsCountedAnewOverANewConnection) {
  CloseConnection(kind_);
  EXPECT_EQ(Total(), "total records = 3");
}

TEST_P(RowCountTest, IsCountedAnewAfterARecordThatFailed) {
  Receive(kind_, "hex(7777)");
  EXPECT_EQ(Silently([&] { return Write(kind_); }), -1);
  Receive(kind_, ExampleData(kind_));
  EXPECT_EQ(Total(), "total records = 3");
  EXPECT_EQ(Total(), "total records = 4");
}

INSTANTIATE_TEST_SUITE_P(Kinds, RowCountTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
