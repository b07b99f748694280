// How a database is kept consistent on the disk it lies on: with a write-ahead log, or, where the disk can't,
// with a rollback journal, or, on a disk without file locks, with that and a lock file.
#pragma once

#include <cstdint>

#include "ground/FixedText.h"

struct sqlite3;

namespace datacollector {

enum class Journal : std::uint8_t {
  Undecided,  // nothing could be tried: a full disk, say
  Log,
  Rollback,
  LockFile,
};

struct JournalChoice {
  Journal journal = Journal::Undecided;
  FixedText<200> reason{};  // why it is not the log; empty for the log
};

// Tries out, with a small file beside the database that is removed again, what the disk can do. The switch to
// a log must not be the trial: on a disk without shared memory maps it leaves a database that nobody can
// open. Takes milliseconds and syncs nothing.
JournalChoice TryJournals(const char* databasePath);

// The name under which SQLite knows the way to lock files that goes with a journal; nullptr: its usual one.
const char* LockingOf(Journal journal);

// Keeps the open database the chosen way from now on. False when that can't be done at the moment, because
// somebody else holds the database; then it is as it was. For a journal other than the log: turns a database
// that arrived with a log back.
bool SwitchJournal(sqlite3* database, Journal journal);

// Removes the lock that a process which has ended left beside a database.
void RemoveStaleLockFile(const char* databasePath);

}  // namespace datacollector
