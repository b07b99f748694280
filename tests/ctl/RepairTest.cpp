// What repair makes of a database, and what it leaves alone.

#include <gtest/gtest.h>

#include <string>

#include "ctl/CtlGateway.h"

namespace datacollector {
namespace {

TEST_F(CtlTest, ARingWhoseLimitWasRaisedIsRenumberedAndStaysUnsentAndInOrder) {
  FillAio(100, 40, 100, 51);
  const std::string order =
      "SELECT group_concat(AI1 || TxStatus) FROM (SELECT * FROM AIO_table ORDER BY rowid)";
  const std::string before = Ask(kAioDatabase, order);
  const Result dry = Ctl("repair AIO --renumber");
  EXPECT_EQ(dry.status, 0) << dry.text;
  EXPECT_TRUE(dry.Names("100 rows, 40 of them unsent")) << dry.text;
  EXPECT_TRUE(Check().Names("[limit-raised]"));
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 0);
  EXPECT_EQ(Check().status, 0);
  EXPECT_EQ(Ask(kAioDatabase, order), before);
  EXPECT_EQ(Ask(kAioDatabase, "SELECT max(RecordNumber) || ' ' || min(RecordNumber) FROM AIO_table"),
            "100 1");
}

TEST_F(CtlTest, ALoweredLimitCostsTheOldestSentRowsAndNoUnsentOne) {
  FillAio(1010, 1000, 2000);
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 0);
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) || ' ' || sum(TxStatus = 0) FROM AIO_table"), "1000 1000");
  Sql(kAioDatabase, "INSERT INTO AIO_table (RecordNumber, TxStatus) VALUES (1001, '0')");
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 70);
}

TEST_F(CtlTest, ATableWithAnotherShapeIsMigrated) {
  FillAio(20, 5, 1000);
  Sql(kAioDatabase,
      "PRAGMA user_version = 3; ALTER TABLE AIO_table ADD COLUMN More; DROP INDEX AIO_table_TxStatus_index");
  EXPECT_EQ(Ctl("repair AIO --migrate --apply").status, 0);
  EXPECT_EQ(Check().text, "Nothing found.\n");
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) || ' ' || sum(TxStatus = 0) FROM AIO_table"), "20 5");
  EXPECT_EQ(Ask(kAioDatabase, "PRAGMA user_version"), "3");
}

class SalvageTest : public CtlTest, public testing::WithParamInterface<int> {};

TEST_P(SalvageTest, EveryRowOnAPageThatIsLeftIsSaved) {
  FillAio(100, 30, 1000);
  const std::string before = ReadText(kAioDatabase);
  const int page = std::stoi(Ask(kAioDatabase, "PRAGMA page_size"));
  const int pages = static_cast<int>(before.size()) / page;
  // What stands on the leaves that stay, as SQLite itself knows it.
  std::string damaged = before;
  int saved = 100;
  int destroyed = 0;
  for (int number = 1; number <= pages && destroyed < GetParam(); number += 2, ++destroyed) {
    const std::size_t header = static_cast<std::size_t>((number - 1) * page) + (number == 1 ? 100 : 0);
    if (damaged[header] == 0x0d && number != 1) {
      saved -= static_cast<unsigned char>(damaged[header + 3]) * 256 +
               static_cast<unsigned char>(damaged[header + 4]);
    }
    damaged.replace(static_cast<std::size_t>((number - 1) * page), static_cast<std::size_t>(page),
                    std::string(static_cast<std::size_t>(page), 'x'));
  }
  WriteText(kAioDatabase, damaged);
  EXPECT_TRUE(Check().Names("[database-damaged]"));
  const Result result = Ctl("repair AIO --salvage --apply");
  EXPECT_EQ(result.status, 0) << result.text;
  // A page that was given up before the damage may hold copies of rows whose page is destroyed.
  const int found = std::stoi(Ask(kAioDatabase, "SELECT count(*) FROM AIO_table"));
  EXPECT_GE(found, saved);
  EXPECT_TRUE(result.Names(std::to_string(found) + " rows found")) << result.text;
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) FROM AIO_table WHERE AI1 <> 'value ' || (RecordNumber - 1)"),
            "0");
  EXPECT_EQ(Check().text, "Nothing found.\n");
}

INSTANTIATE_TEST_SUITE_P(PagesDestroyed, SalvageTest, testing::Values(1, 6, 12));

}  // namespace
}  // namespace datacollector
