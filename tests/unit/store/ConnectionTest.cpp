// Connections that stay open, and what happens to the files under them.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

class ConnectionTest : public KindTest {
 protected:
  ConnectionTest() {
    Config(kind_).ui16_MaxDatabaseAccessRetry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
    MakeTable(kind_);
    Store(kind_, 2);
  }

  std::string Log() { return Path(kind_) + "-wal"; }

  // Number and file of each descriptor on the database or a file beside it.
  std::set<std::string> Descriptors() {
    std::set<std::string> descriptors;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      const std::string file = fs::read_symlink(entry, gone);
      if (file.starts_with(Path(kind_))) {
        descriptors.insert(entry.path().filename().string() + " " + file);
      }
    }
    return descriptors;
  }

  // A database of the kind with one row in another place, as a restored backup.
  std::string Backup(int number) {
    std::string path = "/vorl/disk/AppData/backup.db";
    for (const char* suffix : {"", "-wal", "-shm"}) {
      fs::remove(path + suffix);
    }
    Execute(Path(kind_), "VACUUM INTO '" + path + "'");
    Execute(path, "DELETE FROM " + Table(kind_) + "; INSERT INTO " + Table(kind_) +
                      " (RecordNumber) VALUES (" + std::to_string(number) + ")");
    return path;
  }

  static std::vector<int> NumbersIn(const std::string& path, const std::string& table) {
    std::vector<int> numbers;
    for (const auto& row : Query(path, "SELECT RecordNumber FROM " + table + " ORDER BY rowid")) {
      numbers.push_back(std::stoi(row[0]));
    }
    return numbers;
  }
};

TEST_P(ConnectionTest, StaysOpenBetweenOperations) {
  const std::set<std::string> before = Descriptors();
  EXPECT_FALSE(before.empty());
  RecordingHandOver handOver;
  Store(kind_, 5);
  Silently([&] { return ReadUnsent(kind_, handOver) + Update(kind_); });
  EXPECT_EQ(Descriptors(), before);
}

TEST_P(ConnectionTest, TheRecoverysIsClosedAfterIt) {
  Silently([&] { return ReadLast(kind_); });
  EXPECT_TRUE(Descriptors().empty());
}

TEST_P(ConnectionTest, AFileThatTakesThePathOverIsUsed) {
  fs::rename(Backup(41), Path(kind_));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 3}));
  EXPECT_EQ(Select(kind_, "COUNT(*)"), (Rows{{"2"}}));
  EXPECT_EQ(Query(Path(kind_), "PRAGMA integrity_check"), (Rows{{"ok"}}));
}

TEST_P(ConnectionTest, AFileThatWasMovedAwayHasAllItsRows) {
  fs::rename(Path(kind_), "/vorl/disk/AppData/moved.db");
  Store(kind_, 1);
  EXPECT_EQ(NumbersIn("/vorl/disk/AppData/moved.db", Table(kind_)), (std::vector{1, 2}));
  EXPECT_EQ(Numbers(kind_), std::vector{3});
  fs::remove("/vorl/disk/AppData/moved.db");
}

TEST_P(ConnectionTest, ADeletedFileIsMadeAnewAndItsLogDoesNotMeetTheNewOne) {
  ASSERT_GT(fs::file_size(Log()), 0U);
  fs::remove(Path(kind_));
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{3, 4}));
  EXPECT_EQ(Query(Path(kind_), "PRAGMA integrity_check"), (Rows{{"ok"}}));
}

TEST_P(ConnectionTest, AFileThatWasDeletedWhileItWasClosedLeavesNoLogToTheNewOne) {
  CloseConnection(kind_);
  ASSERT_GT(fs::file_size(Log()), 0U);
  fs::remove(Path(kind_));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), std::vector{3});
}

TEST_P(ConnectionTest, AnEmptiedFileIsMadeAnew) {
  WriteFile(Path(kind_), "");
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{3, 4}));
}

TEST_P(ConnectionTest, AFileThatComesWithALogOfItsOwnKeepsWhatThatHolds) {
  // Another daemon's database, whose last row is in its log alone.
  const std::string other = Backup(41);
  const pid_t child = ::fork();
  if (child == 0) {
    ::execlp("sh", "sh", "-c",
             ("printf 'PRAGMA journal_mode=WAL; INSERT INTO " + Table(kind_) +
              " (RecordNumber) VALUES (42);\n.shell kill -9 $PPID\n' | sqlite3 -batch " + other +
              " >/tmp/killed 2>&1")
                 .c_str(),
             nullptr);
    ::_exit(1);
  }
  ::waitpid(child, nullptr, 0);
  ASSERT_TRUE(fs::exists(other + "-wal"));
  ASSERT_GT(fs::file_size(other + "-wal"), 0U);
  fs::rename(other + "-wal", Log());
  fs::rename(other, Path(kind_));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 42, 3}));
}

TEST_P(ConnectionTest, ADirectoryThatVanishesAndComesBackIsFound) {
  fs::rename("/vorl/disk/AppData/K740", "/vorl/disk/AppData/gone");
  EXPECT_EQ(Silently([&] { return Write(kind_); }), -1);
  fs::rename("/vorl/disk/AppData/gone", "/vorl/disk/AppData/K740");
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

TEST_P(ConnectionTest, AWriterThatWasKilledLeavesALogThatTheNextOpeningReads) {
  ForgetStore();
  SetAllRecovered();
  {
    CapturedOutput output;
    const pid_t child = ::fork();
    if (child == 0) {
      for (int record = 0; record < 3; ++record) {
        Write(kind_);
      }
      std::raise(SIGKILL);
    }
    ::waitpid(child, nullptr, 0);
    output.Out();
  }
  ASSERT_GT(fs::file_size(Log()), 0U);
  ForgetStore();
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 5);
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3, 4, 5, 6}));
}

// Another program can do so only while it has the database for itself.
TEST_P(ConnectionTest, ADatabaseThatWasSwitchedBackToAJournalTakesRecordsAllTheSame) {
  CloseConnection(kind_);
  EXPECT_EQ(Query(Path(kind_), "PRAGMA journal_mode=DELETE"), (Rows{{"delete"}}));
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3, 4}));
  EXPECT_EQ(Query(Path(kind_), "PRAGMA journal_mode"), (Rows{{"wal"}}));
}

TEST_P(ConnectionTest, TheLogStaysBelowOneMegabyte) {
  Config(kind_).ui16_MAXRecords = 100;
  std::uintmax_t largest = 0;
  for (int round = 0; round < 60; ++round) {
    Store(kind_, 50);
    largest = std::max(largest, fs::file_size(Log()));
  }
  EXPECT_LT(largest, 1'000'000U);
  EXPECT_GT(largest, 100'000U);
}

TEST_P(ConnectionTest, AReaderOfAnOldStateCostsNoRecord) {
  const LockHolder reader(Path(kind_), LockHolder::Lock::Shared);
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(CountOf("Error message", outcome.out), 0U) << outcome.out;
  Store(kind_, 20);
  EXPECT_EQ(Numbers(kind_).size(), 23U);
}

TEST_P(ConnectionTest, ABackupDuringWritesIsWhole) {
  const std::string backup = "/tmp/backup-of-tool.db";
  fs::remove(backup);
  const pid_t child = ::fork();
  if (child == 0) {
    ::execlp("sqlite3", "sqlite3", Path(kind_).c_str(), ".timeout 10000", (".backup " + backup).c_str(),
             nullptr);
    ::_exit(1);
  }
  int status = 0;
  int written = 0;
  do {
    Store(kind_, 1);
    ++written;
  } while (::waitpid(child, &status, WNOHANG) == 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Query(backup, "PRAGMA integrity_check"), (Rows{{"ok"}}));
  const std::size_t saved = NumbersIn(backup, Table(kind_)).size();
  EXPECT_GE(saved, 2U);
  EXPECT_LE(saved, static_cast<std::size_t>(2 + written));
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
