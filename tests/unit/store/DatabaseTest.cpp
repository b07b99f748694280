// One connection: opening, statements, locks, refusals.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "ground/FileLogger.h"
#include "store/Database.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kFolder = "/tmp/database-test";
constexpr const char* kPath = "/tmp/database-test/test.db";

class DatabaseTest : public ::testing::Test {
 protected:
  DatabaseTest() {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder);
    fs::create_directories(kLogDirectory);
  }

  static void MakeTable() {
    Database database;
    ASSERT_TRUE(database.Open(kPath));
    ASSERT_TRUE(database.Execute("CREATE TABLE t (a TEXT); INSERT INTO t VALUES ('one')"));
  }
};

TEST_F(DatabaseTest, TellsWhyItCouldNotBeOpened) {
  Database database;
  EXPECT_FALSE(database.Open("/tmp/database-test/no/such/folder.db"));
  EXPECT_STREQ(database.ErrorText(), "unable to open database file");
}

TEST_F(DatabaseTest, TakesDoubleQuotesForTexts) {
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  EXPECT_TRUE(database.Execute("CREATE TABLE t (a TEXT); INSERT INTO t VALUES (\"no column\")"));
}

TEST_F(DatabaseTest, IsNotInheritedByOtherPrograms) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  ASSERT_TRUE(database.Execute("BEGIN IMMEDIATE; INSERT INTO t VALUES ('two')"));
  int ofDatabase = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry, gone).string().starts_with(kPath)) {
      ++ofDatabase;
      EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
    }
  }
  EXPECT_GE(ofDatabase, 2);  // the journal counts too
}

TEST_F(DatabaseTest, WaitsForAShortLock) {
  MakeTable();
  LockHolder holder(kPath, LockHolder::Lock::Exclusive);
  holder.ReleaseAtTheFirstPause();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  EXPECT_TRUE(database.Execute("INSERT INTO t VALUES ('two')")) << database.ErrorText();
}

TEST_F(DatabaseTest, GivesUpALongLockAfterATenthOfASecond) {
  MakeTable();
  const LockHolder holder(kPath, LockHolder::Lock::Exclusive);
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  const auto start = Clock::now();
  EXPECT_FALSE(database.Execute("INSERT INTO t VALUES ('two')"));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(90));
  EXPECT_STREQ(database.ErrorText(), "database is locked");
}

TEST_F(DatabaseTest, KeepsTheErrorTextWhenATransactionIsTakenBack) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  ASSERT_TRUE(database.Execute("BEGIN; DELETE FROM t"));
  EXPECT_FALSE(database.Execute("INSERT INTO nowhere VALUES (1)"));
  EXPECT_TRUE(database.InTransaction());
  database.Rollback();
  EXPECT_FALSE(database.InTransaction());
  EXPECT_STREQ(database.ErrorText(), "no such table: nowhere");
  database.Rollback();
  EXPECT_EQ(Query(kPath, "SELECT a FROM t"), (Rows{{"one"}}));
}

TEST_F(DatabaseTest, ARefusalIsTheErrorTextUntilTheNextStatement) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  EXPECT_FALSE(database.Execute("nonsense"));
  database.Refuse("refused");
  EXPECT_STREQ(database.ErrorText(), "refused");
  EXPECT_FALSE(database.Execute("nonsense"));
  EXPECT_STREQ(database.ErrorText(), "near \"nonsense\": syntax error");
}

using Rows = std::vector<std::string>;

int Collect(void* rows, int columns, char** values, char** /*names*/) {
  std::string row;
  for (int column = 0; column < columns; ++column) {
    row += values[column] == nullptr ? "NULL|" : std::string(values[column]) + "|";
  }
  static_cast<Rows*>(rows)->push_back(row);
  return 0;
}

TEST_F(DatabaseTest, ACompiledQueryGivesItsRowsEachTimeAsTheyAreThen) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  Rows rows;
  EXPECT_TRUE(database.Query("SELECT a, 7, NULL FROM t", Collect, &rows));
  EXPECT_TRUE(database.Execute("INSERT INTO t VALUES (NULL); ALTER TABLE t ADD b"));
  EXPECT_TRUE(database.Query("SELECT a, 7, NULL FROM t", Collect, &rows));
  EXPECT_EQ(rows, (Rows{"one|7|NULL|", "one|7|NULL|", "NULL|7|NULL|"}));
}

TEST_F(DatabaseTest, ACompiledQueryTellsOfATableThatIsGone) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  Rows rows;
  EXPECT_TRUE(database.Query("SELECT a FROM t", Collect, &rows));
  EXPECT_TRUE(database.Execute("DROP TABLE t"));
  EXPECT_FALSE(database.Query("SELECT a FROM t", Collect, &rows));
  EXPECT_EQ(database.LastFailure(), Failure::NoTable);
  EXPECT_STREQ(database.ErrorText(), "no such table: t");
}

TEST_F(DatabaseTest, ACompiledQueryEndsWhereItsRowIsRefusedAndLetsOthersWrite) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  EXPECT_FALSE(database.Query(
      "SELECT a FROM t", [](void*, int, char**, char**) { return 1; }, nullptr));
  Database other;
  ASSERT_TRUE(other.Open(kPath));
  EXPECT_TRUE(other.Execute("DROP TABLE t"));
}

TEST_F(DatabaseTest, AValueThatIsNullIsTheEmptyText) {
  EXPECT_STREQ(ValueText(nullptr), "");
  EXPECT_STREQ(ValueText("a"), "a");
}

}  // namespace
}  // namespace datacollector
