// What each failure means for the next attempt.

#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <optional>
#include <ostream>
#include <set>
#include <string>

#include "store/Failure.h"
#include "store/StoreAccess.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "/tmp/failure-test";
constexpr const char* kPath = "/tmp/failure-test/test.db";
constexpr const char* kGarbage = "/tmp/failure-test/garbage";

struct FailingStatement {
  const char* name;
  const char* statements;
  Failure failure;
  bool waits;
  bool opensAnew;
  bool locked = false;  // by another program
};

void PrintTo(const FailingStatement& statement, std::ostream* stream) { *stream << statement.name; }

constexpr std::array<FailingStatement, 11> kStatements = {{
    {"Constraint", "INSERT INTO t VALUES (NULL)", Failure::Refused, false, false},
    {"NumberOfValues", "INSERT INTO t (a) VALUES (1, 2)", Failure::Refused, false, false},
    {"Column", "SELECT absent FROM t", Failure::NoColumn, false, false},
    {"InsertedColumn", "INSERT INTO t (absent) VALUES (1)", Failure::NoColumn, false, false},
    {"Table", "DELETE FROM missing", Failure::NoTable, true, false},
    {"Lock", "INSERT INTO t VALUES (1)", Failure::Locked, true, false, true},
    {"FullDisk", "PRAGMA max_page_count = 1; INSERT INTO t VALUES (zeroblob(100000))", Failure::DiskFull,
     true, true},
    {"ReadOnly", "PRAGMA query_only = 1; INSERT INTO t VALUES (1)", Failure::ReadOnly, true, true},
    {"CanNotOpen", "ATTACH '/no/such/folder/file.db' AS other", Failure::InputOutput, true, true},
    {"NoDatabase", "ATTACH '/tmp/failure-test/garbage' AS other", Failure::Damaged, false, true},
    {"Syntax", "nonsense", Failure::Other, true, false},
}};

class FailureTest : public StoreTest, public ::testing::WithParamInterface<FailingStatement> {};

TEST_P(FailureTest, DecidesAboutThePauseAndTheConnection) {
  const FailingStatement& failing = GetParam();
  fs::remove_all(kFolder);
  fs::create_directories(kFolder);
  WriteFile(kPath, "");
  WriteFile(kGarbage, std::string(10'000, 'x'));
  Execute(kPath, "CREATE TABLE t (a NOT NULL)");
  Silently([] { return StoreAccess(AIO, kPath).OpenOnce() ? 1 : 0; });
  std::optional<LockHolder> holder;
  if (failing.locked) {
    holder.emplace(kPath, LockHolder::Lock::Reserved);
  }
  const RetryRule rule = {.texts = {.failure = "failed on %s: %s\n",
                                    .failureLog = nullptr,
                                    .retry = "again after %d\n",
                                    .retryLog = nullptr,
                                    .missingTableLog = nullptr},
                          .table = "t",
                          .maxAttempts = 3,
                          .interval = 0,
                          .unit = WaitUnit::Seconds,
                          .makesMissingTable = false,
                          .function = "Test"};
  std::set<std::uint32_t> openings;
  std::set<Failure> failures;
  const Outcome outcome = Observe([&] {
    StoreAccess access(AIO, kPath);
    return access.TryRepeatedly(rule, [&] {
      Database& database = access.Connection();
      openings.insert(database.Opening());
      const bool done = database.Execute(failing.statements);
      failures.insert(database.LastFailure());
      return done;
    });
  });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(failures, std::set{failing.failure}) << outcome.out;
  EXPECT_EQ(CountOf("failed on t", outcome.out), 3U);
  EXPECT_EQ(CountOf("again after 0\n", outcome.out), 2U);
  EXPECT_EQ(CountOf("<Wait>\n", outcome.out), failing.waits ? 2U : 0U);
  EXPECT_EQ(openings.size(), failing.opensAnew ? 3U : 1U);
  EXPECT_EQ(outcome.err, "");
}

INSTANTIATE_TEST_SUITE_P(All, FailureTest, ::testing::ValuesIn(kStatements),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(FailureOfTest, TheCodeDecidesWithOrWithoutItsExtension) {
  EXPECT_EQ(FailureOf(SQLITE_OK, ""), Failure::None);
  EXPECT_EQ(FailureOf(SQLITE_BUSY, "no such table: x"), Failure::Locked);
  EXPECT_EQ(FailureOf(SQLITE_BUSY_SNAPSHOT, ""), Failure::Locked);
  EXPECT_EQ(FailureOf(SQLITE_IOERR_SHMMAP, ""), Failure::InputOutput);
  EXPECT_EQ(FailureOf(SQLITE_READONLY_DIRECTORY, ""), Failure::ReadOnly);
  EXPECT_EQ(FailureOf(SQLITE_CORRUPT_INDEX, ""), Failure::Damaged);
  EXPECT_EQ(FailureOf(SQLITE_NOTADB, ""), Failure::Damaged);
  EXPECT_EQ(FailureOf(SQLITE_ERROR, "anything"), Failure::Other);
}

}  // namespace
}  // namespace datacollector
