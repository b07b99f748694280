// A record's values, bound, are stored as SQLite stores the literals themselves.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "store/BoundValues.h"
#include "store/Database.h"
#include "store/RecordData.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPath = "/tmp/bound-values-test.db";

int AppendRow(void* context, int columns, char** values, char** /*names*/) {
  auto& rows = *static_cast<std::vector<std::string>*>(context);
  std::string row;
  for (int column = 0; column < columns; ++column) {
    row += std::string(values[column] == nullptr ? "NULL" : values[column]) + "|";
  }
  rows.push_back(row);
  return 0;
}

class BoundValuesTest : public ::testing::Test {
 protected:
  BoundValuesTest() {
    fs::remove(kPath);
    EXPECT_TRUE(database_.Open(kPath));
    EXPECT_TRUE(database_.Execute("CREATE TABLE t (a TEXT, b INTEGER, c REAL, d)"));
  }

  // Stores a literal in a column of each affinity, as it stands and bound.
  void ExpectStoredAlike(const std::string& literal) {
    const std::string list = literal + ", " + literal + "," + literal + " ,\t" + literal;
    ASSERT_EQ(CountLiterals(list), 4U) << list;
    BoundValues values;
    ASSERT_TRUE(values.Take(list)) << list;
    ASSERT_EQ(values.Values().size(), 4U) << list;
    ASSERT_TRUE(database_.Execute(("DELETE FROM t; INSERT INTO t VALUES (" + list + ")").c_str()))
        << database_.ErrorText();
    ASSERT_TRUE(database_.Run("INSERT INTO t VALUES (?,?,?,?)", values.Values())) << database_.ErrorText();
    std::vector<std::string> rows;
    ASSERT_TRUE(database_.Execute(
        "SELECT quote(a), typeof(a), quote(b), typeof(b), quote(c), typeof(c), quote(d), typeof(d) FROM t",
        AppendRow, &rows));
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0], rows[1]) << literal;
  }

  Database database_;
};

TEST_F(BoundValuesTest, EveryCommonFormIsStoredAsTheLiteral) {
  for (const char* literal : {"0",
                              "7",
                              "-7",
                              "+7",
                              "007",
                              "-0",
                              "999999999999999999",
                              "-999999999999999999",
                              "12.34",
                              "-12.34",
                              "+12.34",
                              "5.",
                              "0.0",
                              "-0.0",
                              "7.0",
                              "0.1",
                              "1234567890.1234567",
                              "99999999999999.95",
                              "3.0000000001",
                              "NULL",
                              "null",
                              "nUlL",
                              "''",
                              "\"\"",
                              "'text'",
                              "\"text\"",
                              "'a,b'",
                              "\"it's\"",
                              "'say \"so\"'",
                              "'12.50'",
                              "'0x10'",
                              "' 7 '",
                              "\"rowid\"",
                              "\"a\"",
                              "\"NULL\"",
                              "'\xC3\xA4'",
                              "'\xFF\xFE'",
                              "'?1'"}) {
    ExpectStoredAlike(literal);
  }
}

TEST_F(BoundValuesTest, RarerFormsAreLeftToTheStatement) {
  for (const char* literal : {"'it''s'", "\"say \"\"so\"\"\"", "1e5", "1.5E-3", "0x10", "1234567890123456789",
                              "1234567890.123456789"}) {
    ASSERT_EQ(CountLiterals(literal), 1U) << literal;
    EXPECT_FALSE(BoundValues().Take(literal)) << literal;
  }
}

TEST_F(BoundValuesTest, MoreValuesThanThereIsRoomForAreLeftToTheStatement) {
  std::string list = "1";
  for (int value = 1; value < 64; ++value) {
    list += ",1";
  }
  EXPECT_TRUE(BoundValues().Take(list));
  EXPECT_FALSE(BoundValues().Take(list + ",1"));
}

TEST_F(BoundValuesTest, ABlankListOrNoneHoldsNothing) {
  for (const char* list : {"", " ", "1,", ",1", "'open", "1 2"}) {
    EXPECT_FALSE(BoundValues().Take(list)) << list;
  }
}

// The same statement is compiled once, and real numbers are read with another one in between.
TEST_F(BoundValuesTest, RecordsOfDifferentShapesShareTheStatement) {
  const std::vector<std::string> lists = {"1,2,3,4", "1.5,2.5,3.5,4.5", "'a',NULL,'c',7", "\"x\",1,2.25,'d'"};
  for (int round = 0; round < 20; ++round) {
    for (const std::string& list : lists) {
      BoundValues values;
      ASSERT_TRUE(values.Take(list));
      ASSERT_TRUE(database_.Run("INSERT INTO t VALUES (?,?,?,?)", values.Values()));
    }
  }
  std::int64_t rows = 0;
  ASSERT_TRUE(database_.Run("SELECT COUNT(*) FROM t WHERE d IN (4, 4.5, 7, 'd')", {}, &rows));
  EXPECT_EQ(rows, 80);
}

}  // namespace
}  // namespace datacollector
