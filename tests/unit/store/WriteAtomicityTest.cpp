// Making room and inserting are one step for everybody else: crashes, failing commits and locks of other
// processes.

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "unit/store/DiskFault.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

void DieFunction(sqlite3_context* /*context*/, int /*count*/, sqlite3_value** /*values*/) {
  std::raise(SIGKILL);
}

// Gives every connection that the process opens from now on a function die().
int AddDieFunction(sqlite3* handle, const char** /*error*/, const void* /*api*/) {
  return sqlite3_create_function(handle, "die", 0, SQLITE_UTF8, nullptr, DieFunction, nullptr, nullptr);
}

std::map<std::string, int>& Visits() {
  static std::map<std::string, int> visits;
  return visits;
}

void VisitsFunction(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  const auto* place = reinterpret_cast<const char*>(sqlite3_value_text(values[0]));
  sqlite3_result_int(context, ++Visits()[place]);
}

int AddVisitsFunction(sqlite3* handle, const char** /*error*/, const void* /*api*/) {
  return sqlite3_create_function(handle, "visits", 1, SQLITE_UTF8, nullptr, VisitsFunction, nullptr, nullptr);
}

// As long as it lives, every connection that is opened has a function visits(place), which tells how many
// times it was called for that place.
class VisitCounter {
 public:
  VisitCounter() {
    Visits().clear();
    sqlite3_auto_extension(entry_);
  }
  ~VisitCounter() { sqlite3_cancel_auto_extension(entry_); }
  VisitCounter(const VisitCounter&) = delete;
  VisitCounter(VisitCounter&&) = delete;
  VisitCounter& operator=(const VisitCounter&) = delete;
  VisitCounter& operator=(VisitCounter&&) = delete;

 private:
  void (*const entry_)() = reinterpret_cast<void (*)()>(AddVisitsFunction);
};

class AtomicityTest : public KindTest {
 protected:
  AtomicityTest() {
    MakeTable(kind_);
    Config(kind_).ui16_MAXRecords = 3;
    Config(kind_).ui16_MaxDatabaseAccessRetry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
    Store(kind_, 3);
  }

  // Stores a record in another process, which is killed when `sort` of statement reaches the table.
  void DieWriting(const std::string& sort) {
    Execute(Path(kind_), "CREATE TRIGGER crash " + sort + " ON " + Table(kind_) + " BEGIN SELECT die(); END");
    ForgetStore();
    SetAllRecovered();
    CapturedOutput output;
    const pid_t child = ::fork();
    if (child == 0) {
      sqlite3_auto_extension(reinterpret_cast<void (*)()>(AddDieFunction));
      Write(kind_);
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    output.Out();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    Execute(Path(kind_), "DROP TRIGGER crash");
  }

  Outcome WriteOne() {
    return Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  }
};

TEST_P(AtomicityTest, ACrashBetweenDeleteAndInsertLeavesTheOldRow) {
  DieWriting("BEFORE INSERT");
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

TEST_P(AtomicityTest, ACrashBeforeTheCommitLeavesTheOldRow) {
  DieWriting("AFTER INSERT");
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
}

// With a log, a reader at an old state is in nobody's way.
class RollbackTest : public AtomicityTest {
 protected:
  RollbackTest() {
    Silently([] {
      ForgetStore();
      return 0;
    });
    SetAllRecovered();
    disk_.emplace(DiskFault::NoSharedMaps);
  }
  ~RollbackTest() override { ForgetStore(); }

 private:
  std::optional<FaultyDisk> disk_;
};

TEST_P(RollbackTest, ACommitThatFailsIsAFailedInsertionAndLeavesTheOldRow) {
  Store(kind_, 3);
  Outcome outcome;
  {
    const LockHolder reader(Path(kind_), LockHolder::Lock::Shared);
    outcome = WriteOne();
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_NE(outcome.out.find("Deleted Record 1 from table"), std::string::npos);
  EXPECT_EQ(CountOf("can't insert record into table " + Table(kind_) + "\nError message:database is locked\n",
                    outcome.out),
            2U);
  EXPECT_NE(outcome.out.find("Fail to insert record with ID-1 :Error message: database is locked\n"),
            std::string::npos);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
  EXPECT_EQ(Number(kind_), 0);
}

TEST_P(RollbackTest, ACommitThatSucceedsLaterStoresTheRecordOnce) {
  Store(kind_, 3);
  Config(kind_).ui16_MaxDatabaseAccessRetry = 1000;
  LockHolder reader(Path(kind_), LockHolder::Lock::Shared);
  CapturedOutput output;
  std::thread releaser([&] {
    // The writer's first wait flushes its words.
    WaitUntil([&] { return output.OutSoFar().find("can't insert record into table") != std::string::npos; });
    reader.Release();
  });
  const int result = Write(kind_);
  releaser.join();
  const std::string out = output.Out();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(CountOf("Deleted Record", out), 1U);
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{3, 1, 2}));
}

TEST_P(AtomicityTest, NobodyIsLockedOutDuringAWait) {
  Config(kind_).ui16_MaxDatabaseAccessRetry = 65535;
  Config(kind_).i32_DatabaseAccessWaitInterval = 1;
  Execute(Path(kind_), "CREATE TRIGGER forbid BEFORE INSERT ON " + Table(kind_) +
                           " BEGIN INSERT INTO missing_table VALUES (1); END");
  CapturedOutput output;
  std::thread other([&] {
    WaitUntil([&] { return output.OutSoFar().find("can't insert record into table") != std::string::npos; });
    Execute(Path(kind_), "DROP TRIGGER forbid");
  });
  const int result = Write(kind_);
  other.join();
  output.Out();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
}

// Each further attempt of the insertion makes room anew, which may fail for a reason of its own.
TEST_P(AtomicityTest, MakingRoomAgainMayFailAndIsRepeatedToo) {
  Config(kind_).ui16_MaxDatabaseAccessRetry = 3;
  const VisitCounter counter;
  CloseConnection(kind_);
  Execute(Path(kind_), "CREATE TRIGGER record BEFORE INSERT ON " + Table(kind_) +
                           " WHEN visits('insert') = 1 BEGIN SELECT RAISE(ABORT, 'no record'); END");
  Execute(Path(kind_), "CREATE TRIGGER room BEFORE DELETE ON " + Table(kind_) +
                           " WHEN visits('delete') = 2 BEGIN SELECT RAISE(ABORT, 'no room'); END");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, 0);
  const std::string failure = "can't insert record into table " + Table(kind_) + "\nError message:";
  const std::size_t first = outcome.out.find(failure + "no record\n");
  ASSERT_NE(first, std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find(failure + "no room\n", first), std::string::npos) << outcome.out;
  EXPECT_EQ(CountOf(failure, outcome.out), 2U);
  EXPECT_EQ(Visits(), (std::map<std::string, int>{{"delete", 3}, {"insert", 2}}));
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
}

TEST_P(AtomicityTest, AShortLockCostsNoAttempt) {
  Outcome outcome;
  {
    LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
    writer.ReleaseAtTheFirstPause();
    outcome = WriteOne();
  }
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out.find("Error message"), std::string::npos) << outcome.out;
}

TEST_P(AtomicityTest, ALongLockFailsTheCount) {
  CloseConnection(kind_);
  Outcome outcome;
  {
    const LockHolder writer(Path(kind_), LockHolder::Lock::Exclusive);
    outcome = WriteOne();
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(CountOf("can not get total number of records from table '" + Table(kind_) +
                        "'\nError message:database is locked\n",
                    outcome.out),
            2U);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

TEST_P(AtomicityTest, AnotherWriterFailsTheDeletion) {
  Outcome outcome;
  {
    const LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
    outcome = WriteOne();
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(
      CountOf("can not delete a record from table " + Table(kind_) + "\nError message:database is locked\n",
              outcome.out),
      2U);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, AtomicityTest, ::testing::ValuesIn(kAllKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Kinds, RollbackTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
