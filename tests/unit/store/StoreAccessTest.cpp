// The two rules of every operation: how a database is opened and how a statement is tried again.

#include <filesystem>
#include <string>
#include <utility>

#include "store/StoreAccess.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "/tmp/access-test";
constexpr const char* kPath = "/tmp/access-test/test.db";
constexpr const char* kOpened = "Connection to database '/tmp/access-test/test.db' is successfull\n";
constexpr const char* kCreation = "<CreateAIDB>\n";
constexpr const char* kCalls = "/tmp/access-test-calls";
constexpr const char* kSyntaxError = "near \"nonsense\": syntax error";

std::string CanNotConnect(int attempt) {
  return "Can not connect database '/tmp/access-test/test.db', so retrying " + std::to_string(attempt) +
         " time\n";
}

class StoreAccessTest : public StoreTest {
 protected:
  StoreAccessTest() {
    fs::remove_all(kFolder);
    fs::create_directories(kFolder);
    fs::create_directories(kDatabaseDirectory);
    fs::remove(kCalls);
  }

  // A database with a table that is settled and open.
  static void MakeTable() {
    Make("CREATE TABLE t (a TEXT)");
    Silently([] { return StoreAccess(AIO, kPath).OpenOnce() ? 1 : 0; });
  }
  static void Make(const std::string& statements) {
    Database database;
    ASSERT_TRUE(database.Open(kPath));
    ASSERT_TRUE(database.Execute(statements.c_str())) << database.ErrorText();
  }

  static RetryRule Rule(std::int32_t maxAttempts) {
    return {.texts = {.failure = "failed on %s: %s\n",
                      .failureLog = nullptr,
                      .retry = "again after %d\n",
                      .retryLog = nullptr,
                      .missingTableLog = nullptr},
            .table = "t",
            .maxAttempts = maxAttempts,
            .interval = 0,
            .unit = WaitUnit::Seconds,
            .makesMissingTable = false,
            .function = "Test"};
  }

  // Tries a statement by a rule.
  static Outcome Try(const RetryRule& rule, const char* statement) {
    return Observe([&] {
      StoreAccess access(AIO, kPath);
      return access.TryRepeatedly(rule, [&] { return access.Connection().Execute(statement); }) ? 1 : 0;
    });
  }
};

TEST_F(StoreAccessTest, OpensAtTheFirstAttempt) {
  MakeTable();
  const StandIn script(kTableScript, std::string("#!/bin/sh\necho call >>") + kCalls + "\n");
  const Outcome outcome = Observe([] { return StoreAccess(AIO, kPath).Open("log") ? 1 : 0; });
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.out, kOpened);
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_FALSE(fs::exists(kCalls));
}

TEST_F(StoreAccessTest, CreatesAfterThreeFailuresAndTriesOnceMore) {
  fs::remove_all(kFolder);
  const StandIn script(kTableScript, std::string("#!/bin/sh\necho call >>") + kCalls + "\n");
  const Outcome outcome = Observe([] { return StoreAccess(AIO, kPath).Open() ? 1 : 0; });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, CanNotConnect(0) + CanNotConnect(1) + CanNotConnect(2) + kCreation);
  EXPECT_EQ(outcome.log, "");
  EXPECT_EQ(ReadFile(kCalls), "call\n");
}

TEST_F(StoreAccessTest, OpensWhatTheCreationHasMade) {
  fs::remove_all(kFolder);
  const StandIn script(kTableScript, std::string("#!/bin/sh\nmkdir ") + kFolder + "\n");
  const Outcome outcome = Observe([] { return StoreAccess(AIO, kPath).Open("not connected") ? 1 : 0; });
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.out, CanNotConnect(0) + kLogTrace + CanNotConnect(1) + kLogTrace + CanNotConnect(2) +
                             kLogTrace + kCreation + kOpened);
  EXPECT_EQ(outcome.log, "T: not connected\nT: not connected\nT: not connected\n");
}

class AttemptsTest : public StoreAccessTest, public ::testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(AttemptsTest, AreAtLeastOneAndTheWaitsOneLess) {
  const auto [configured, expected] = GetParam();
  MakeTable();
  const Outcome outcome = Try(Rule(configured), "nonsense");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(CountOf("failed on t", outcome.out), static_cast<std::size_t>(expected));
  EXPECT_EQ(CountOf("<Wait>\n", outcome.out), static_cast<std::size_t>(expected - 1));
}
INSTANTIATE_TEST_SUITE_P(Numbers, AttemptsTest,
                         ::testing::Values(std::pair{0, 1}, std::pair{1, 1}, std::pair{2, 2},
                                           std::pair{5, 5}));

TEST_F(StoreAccessTest, SaysEachFailureAndEachWait) {
  MakeTable();
  const Outcome outcome = Try(Rule(2), "nonsense");
  const std::string failure = std::string("failed on t: ") + kSyntaxError + "\n";
  EXPECT_EQ(outcome.out, failure + "again after 0\n" + kClockLines + "<Wait>\n" + failure);
  EXPECT_EQ(outcome.err + outcome.log, "");
}

TEST_F(StoreAccessTest, SucceedsAtALaterAttempt) {
  MakeTable();
  int attempts = 0;
  const Outcome outcome = Observe([&] {
    StoreAccess access(AIO, kPath);
    return access.TryRepeatedly(Rule(9), [&] { return ++attempts == 3; }) ? 1 : 0;
  });
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(CountOf("<Wait>\n", outcome.out), 2U);
}

TEST_F(StoreAccessTest, TakesTheIntervalAsMillisecondsWhereTheRuleSaysSo) {
  MakeTable();
  RetryRule rule = Rule(2);
  rule.unit = WaitUnit::Milliseconds;
  rule.interval = 15;
  const Outcome outcome = Try(rule, "nonsense");
  EXPECT_NE(outcome.out.find("again after 15\n" + std::string(kClockLines) + SleepLines(15)),
            std::string::npos)
      << outcome.out;
}

TEST_F(StoreAccessTest, CreatesBeforeEachNextAttemptOnAMissingTable) {
  MakeTable();
  RetryRule rule = Rule(3);
  rule.makesMissingTable = true;
  EXPECT_EQ(CountOf(kCreation, Try(rule, "DELETE FROM missing").out), 2U);
  EXPECT_EQ(CountOf(kCreation, Try(rule, "nonsense").out), 0U);
  rule.makesMissingTable = false;
  EXPECT_EQ(CountOf(kCreation, Try(rule, "DELETE FROM missing").out), 0U);
}

TEST_F(StoreAccessTest, LogsWhatTheRuleNames) {
  MakeTable();
  RetryRule rule = Rule(2);
  rule.makesMissingTable = true;
  rule.texts.failureLog = "failure of %s: %s";
  rule.texts.retryLog = "retry %d";
  rule.texts.missingTableLog = "missing";
  EXPECT_EQ(Try(rule, "DELETE FROM missing").log,
            "T: failure of t: no such table: missing\nT: retry %d\nT: missing\n"
            "T: failure of t: no such table: missing\n");
}

}  // namespace
}  // namespace datacollector
