#include "store/Journal.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "store/FileIdentity.h"

namespace datacollector {
namespace {

using PathText = FixedText<520>;

struct CloseHandle {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
using Handle = std::unique_ptr<sqlite3, CloseHandle>;

constexpr const char* kLockFileName = "unix-dotfile";

// What is tried, best first.
struct Trial {
  Journal journal;
  const char* locking;  // of SQLite; nullptr: its usual one
  const char* make;     // with the first connection
};
constexpr std::array<Trial, 3> kTrials = {{
    {Journal::Log, nullptr,
     "PRAGMA synchronous=OFF; PRAGMA journal_mode=WAL; CREATE TABLE trial (a); INSERT INTO trial VALUES (1)"},
    {Journal::Rollback, nullptr,
     "PRAGMA synchronous=OFF; CREATE TABLE trial (a); INSERT INTO trial VALUES (1)"},
    {Journal::LockFile, kLockFileName,
     "PRAGMA synchronous=OFF; CREATE TABLE trial (a); INSERT INTO trial VALUES (1)"},
}};

struct TrialResult {
  int code;  // extended result of SQLite
  FixedText<100> text{};
};

TrialResult ResultOf(sqlite3* handle, int code) {
  TrialResult result{code == SQLITE_OK ? SQLITE_OK : sqlite3_extended_errcode(handle)};
  result.text.Assign(sqlite3_errmsg(handle));
  return result;
}

void Remove(const PathText& path) {
  ::unlink(path.c_str());
  for (const char* suffix : kBesideSuffixes) {
    PathText beside = path;
    beside.Append(suffix);
    ::unlink(beside.c_str());
  }
  RemoveStaleLockFile(path.c_str());
}

TrialResult Open(const PathText& path, const Trial& trial, Handle& handle) {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, trial.locking);
  handle.reset(opened);
  return ResultOf(opened, code);
}

// The second connection makes sure that one finds what the other has written, which goes through the shared
// index of the log.
TrialResult Run(const PathText& path, const Trial& trial) {
  Handle writer;
  Handle reader;
  TrialResult result = Open(path, trial, writer);
  if (result.code == SQLITE_OK) {
    result = ResultOf(writer.get(), sqlite3_exec(writer.get(), trial.make, nullptr, nullptr, nullptr));
  }
  if (result.code == SQLITE_OK) {
    result = Open(path, trial, reader);
  }
  if (result.code == SQLITE_OK) {
    result =
        ResultOf(reader.get(), sqlite3_exec(reader.get(), "SELECT a FROM trial", nullptr, nullptr, nullptr));
  }
  return result;
}

// Whether a trial that failed says something about the disk for good, and not about its present state.
bool IsUnable(int code) {
  constexpr std::array<int, 9> kUnable = {
      SQLITE_IOERR_SHMOPEN, SQLITE_IOERR_SHMMAP, SQLITE_IOERR_SHMLOCK,           SQLITE_IOERR_LOCK,
      SQLITE_IOERR_RDLOCK,  SQLITE_IOERR_UNLOCK, SQLITE_IOERR_CHECKRESERVEDLOCK, SQLITE_BUSY,
      SQLITE_PROTOCOL};
  return std::ranges::find(kUnable, code) != kUnable.end();
}

int OnMode(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<bool*>(context) = values[0] != nullptr && std::strcmp(values[0], "wal") == 0;
  return 0;
}

// Whether the database keeps a log after `statements`, whose last one answers with the mode; false as well
// when they fail.
bool KeepsLog(sqlite3* database, const char* statements, bool& done) {
  bool log = false;
  done = sqlite3_exec(database, statements, OnMode, &log, nullptr) == SQLITE_OK;
  return log;
}

}  // namespace

JournalChoice TryJournals(const char* databasePath) {
  PathText path{};
  if (!path.Assign(databasePath) || !path.Append(".trial")) {
    return {};
  }
  JournalChoice choice;
  for (const Trial& trial : kTrials) {
    Remove(path);
    const TrialResult result = Run(path, trial);
    Remove(path);
    if (result.code == SQLITE_OK) {
      choice.journal = trial.journal;
      return choice;
    }
    if (!IsUnable(result.code)) {
      return {};
    }
    choice.reason.Format("%s, code %d", result.text.c_str(), result.code);
  }
  return {};
}

const char* LockingOf(Journal journal) { return journal == Journal::LockFile ? kLockFileName : nullptr; }

// The exclusive lock keeps the log's shared index in memory, so that a disk without shared memory maps can
// read the log that it arrived with.
bool SwitchJournal(sqlite3* database, Journal journal) {
  bool done = false;
  if (journal == Journal::Log) {
    return KeepsLog(database, "PRAGMA journal_mode=WAL", done);
  }
  const bool log = KeepsLog(database, "PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=DELETE", done);
  const bool freed = sqlite3_exec(database, "PRAGMA locking_mode=NORMAL; SELECT COUNT(*) FROM sqlite_master",
                                  nullptr, nullptr, nullptr) == SQLITE_OK;
  return done && !log && freed;
}

void RemoveStaleLockFile(const char* databasePath) {
  PathText lock{};
  if (lock.Assign(databasePath) && lock.Append(".lock")) {
    ::rmdir(lock.c_str());
  }
}

}  // namespace datacollector
