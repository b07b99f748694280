// The two rules of every operation: how a database is opened and how a statement is tried again.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "store/Database.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kFolder = "/tmp/database-test";
constexpr const char* kPath = "/tmp/database-test/test.db";

int creations = 0;
void OnlyCount(const char* /*path*/) { ++creations; }
void MakeFolder(const char* /*path*/) {
  ++creations;
  fs::create_directories(kFolder);
}

std::vector<timespec> sleeps;
int RecordSleep(const timespec* length, timespec* /*rest*/) {
  sleeps.push_back(*length);
  return 0;
}

class DatabaseTest : public ::testing::Test {
 protected:
  DatabaseTest() {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder);
    fs::create_directories(kLogDirectory);
    creations = 0;
    sleeps.clear();
  }

  static void MakeTable() {
    Database database;
    ASSERT_TRUE(database.Open(kPath));
    ASSERT_TRUE(database.Execute("CREATE TABLE t (a TEXT); INSERT INTO t VALUES ('one')"));
  }

  static RetryRule Rule(std::int32_t maxAttempts) {
    return {.texts = {.failure = "failed on %s: %s\n",
                      .failureLog = nullptr,
                      .retry = "again after %d\n",
                      .retryLog = nullptr,
                      .missingTableLog = nullptr},
            .path = kPath,
            .table = "t",
            .maxAttempts = maxAttempts,
            .interval = 3,
            .unit = WaitUnit::Seconds,
            .creator = nullptr,
            .function = "Test",
            .sleep = RecordSleep};
  }
};

TEST_F(DatabaseTest, OpensAtTheFirstAttempt) {
  const Outcome outcome = Observe([] {
    Database database;
    return database.Open({kPath, OnlyCount, "log"}) ? 1 : 0;
  });
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.out, "Connection to database '/tmp/database-test/test.db' is successfull\n");
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_EQ(creations, 0);
}

TEST_F(DatabaseTest, CallsTheCreatorAfterThreeFailuresAndTriesOnceMore) {
  fs::remove_all(kFolder);
  const Outcome outcome = Observe([] {
    Database database;
    return database.Open({kPath, OnlyCount, nullptr}) ? 1 : 0;
  });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out,
            "Can not connect database '/tmp/database-test/test.db', so retrying 0 time\n"
            "Can not connect database '/tmp/database-test/test.db', so retrying 1 time\n"
            "Can not connect database '/tmp/database-test/test.db', so retrying 2 time\n");
  EXPECT_EQ(outcome.log, "");
  EXPECT_EQ(creations, 1);
}

TEST_F(DatabaseTest, OpensWhatTheCreatorHasMade) {
  fs::remove_all(kFolder);
  const Outcome outcome = Observe([] {
    Database database;
    return database.Open({kPath, MakeFolder, "not connected"}) ? 1 : 0;
  });
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.out,
            std::string("Can not connect database '/tmp/database-test/test.db', so retrying 0 time\n") +
                kLogTrace + "Can not connect database '/tmp/database-test/test.db', so retrying 1 time\n" +
                kLogTrace + "Can not connect database '/tmp/database-test/test.db', so retrying 2 time\n" +
                kLogTrace + "Connection to database '/tmp/database-test/test.db' is successfull\n");
  EXPECT_EQ(outcome.log, "T: not connected\nT: not connected\nT: not connected\n");
  EXPECT_EQ(creations, 1);
}

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

class AttemptsTest : public DatabaseTest, public ::testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(AttemptsTest, AreAtLeastOneAndTheWaitsOneLess) {
  const auto [configured, expected] = GetParam();
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  int attempts = 0;
  Silently([&, most = configured] {
    return TryRepeatedly(database, Rule(most), [&] {
      ++attempts;
      return database.Execute("nonsense");
    });
  });
  EXPECT_EQ(attempts, expected);
  EXPECT_EQ(sleeps.size(), static_cast<std::size_t>(expected - 1));
}
INSTANTIATE_TEST_SUITE_P(Numbers, AttemptsTest,
                         ::testing::Values(std::pair{0, 1}, std::pair{1, 1}, std::pair{2, 2},
                                           std::pair{5, 5}));

TEST_F(DatabaseTest, SaysEachFailureAndEachWait) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  const Outcome outcome = Observe(
      [&] { return TryRepeatedly(database, Rule(2), [&] { return database.Execute("nonsense"); }) ? 1 : 0; });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, std::string("failed on t: near \"nonsense\": syntax error\nagain after 3\n") +
                             kClockLines + "<Wait>\nfailed on t: near \"nonsense\": syntax error\n");
  EXPECT_EQ(outcome.err + outcome.log, "");
  ASSERT_EQ(sleeps.size(), 1U);
  EXPECT_EQ(sleeps[0].tv_sec, 3);
  EXPECT_EQ(sleeps[0].tv_nsec, 0);
}

TEST_F(DatabaseTest, SucceedsAtALaterAttempt) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  int attempts = 0;
  EXPECT_EQ(
      Silently([&] { return TryRepeatedly(database, Rule(9), [&] { return ++attempts == 3; }) ? 1 : 0; }), 1);
  EXPECT_EQ(attempts, 3);
  EXPECT_EQ(sleeps.size(), 2U);
}

TEST_F(DatabaseTest, TakesTheIntervalAsMillisecondsWhereTheRuleSaysSo) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  RetryRule rule = Rule(2);
  rule.unit = WaitUnit::Milliseconds;
  rule.interval = 1500;
  Silently([&] { return TryRepeatedly(database, rule, [&] { return database.Execute("nonsense"); }); });
  ASSERT_EQ(sleeps.size(), 1U);
  EXPECT_EQ(sleeps[0].tv_sec, 1);
  EXPECT_EQ(sleeps[0].tv_nsec, 500'000'000);
}

TEST_F(DatabaseTest, CallsTheCreatorBeforeEachNextAttemptOnAMissingTable) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  RetryRule rule = Rule(3);
  rule.creator = OnlyCount;
  Silently(
      [&] { return TryRepeatedly(database, rule, [&] { return database.Execute("DELETE FROM missing"); }); });
  EXPECT_EQ(creations, 2);
  Silently([&] { return TryRepeatedly(database, rule, [&] { return database.Execute("nonsense"); }); });
  EXPECT_EQ(creations, 2);
}

TEST_F(DatabaseTest, LogsWhatTheRuleNames) {
  MakeTable();
  Database database;
  ASSERT_TRUE(database.Open(kPath));
  RetryRule rule = Rule(2);
  rule.creator = OnlyCount;
  rule.texts.failureLog = "failure of %s: %s";
  rule.texts.retryLog = "retry %d";
  rule.texts.missingTableLog = "missing";
  const Outcome outcome = Observe([&] {
    return TryRepeatedly(database, rule, [&] { return database.Execute("DELETE FROM missing"); }) ? 1 : 0;
  });
  EXPECT_EQ(outcome.log,
            "T: failure of t: no such table: missing\nT: retry %d\nT: missing\n"
            "T: failure of t: no such table: missing\n");
}

TEST_F(DatabaseTest, ANumberIsReadFromTheStartOfAText) {
  EXPECT_EQ(LeadingNumber("12,x"), 12);
  EXPECT_EQ(LeadingNumber(" -3"), -3);
  EXPECT_EQ(LeadingNumber(""), 0);
  EXPECT_EQ(LeadingNumber("x1"), 0);
  EXPECT_STREQ(ValueText(nullptr), "");
  EXPECT_STREQ(ValueText("a"), "a");
}

}  // namespace
}  // namespace datacollector
