// One thread's turn at the database of a kind, and the two rules that every operation of the store follows:
// how a database is opened and how a statement is tried again.
//
// Each kind has one lock, which covers one attempt and is given away for every pause and every creation. A
// thread keeps its connection to a kind's database from one turn to the next; as all of a kind's connections
// are used under its lock, whoever holds it may close those of other threads as well.
#pragma once

#include <cstdint>
#include <mutex>
#include <type_traits>

#include "ground/GenericFunctions.h"
#include "ground/SourceKind.h"
#include "store/Database.h"

namespace datacollector {

enum class WaitUnit : std::uint8_t { Seconds, Milliseconds };

// What is said about a failed attempt. A log text of nullptr is not logged.
struct RetryTexts {
  const char* failure;          // printed after each failed attempt: format of table name and error text
  const char* failureLog;       // logged beside it: a format of the same, or a plain text
  const char* retry;            // printed before the wait: format of the interval
  const char* retryLog;         // logged beside it
  const char* missingTableLog;  // logged when the table is missing
};

// How a statement is tried again.
struct RetryRule {
  RetryTexts texts;
  const char* table;
  std::int32_t maxAttempts;  // one attempt is always made
  std::int32_t interval;     // wait between two attempts
  WaitUnit unit;
  bool makesMissingTable;
  const char* function;  // whose name an error of the clock quotes
};

class StoreAccess {
 public:
  // Waits for the kind's lock. `path` must outlive the object.
  StoreAccess(SourceKind kind, const char* path);
  StoreAccess(const StoreAccess&) = delete;
  StoreAccess(StoreAccess&&) = delete;
  StoreAccess& operator=(const StoreAccess&) = delete;
  StoreAccess& operator=(StoreAccess&&) = delete;
  ~StoreAccess() = default;

  // One attempt, without a word, which an open connection makes at once.
  bool OpenOnce();

  // Three attempts back to back, then the creation and a last attempt. Prints each outcome but the last
  // failure; `attemptLog`, unless it is nullptr, is logged after each failed one of the three.
  bool Open(const char* attemptLog = nullptr);

  // Runs `attempt` until it returns true or the rule allows no further one. A database that proves damaged is
  // put aside, made anew and used within the same attempt.
  template <typename Attempt>
  bool TryRepeatedly(const RetryRule& rule, Attempt attempt);

  // Whether the last record number in the kind's table is known. Of the process, not of this turn.
  bool IsRecovered() const;
  void SetRecovered();

  // Closes the calling thread's connection, at its last turn.
  void Close();

  // The calling thread's connection.
  Database& Connection() { return database_; }
  const char* ErrorText() const { return database_.ErrorText(); }

 private:
  bool TryRepeatedly(const RetryRule& rule, bool (*attempt)(void*), void* object);
  bool AwaitNextAttempt(const RetryRule& rule, std::int32_t failures);
  void Pause(const RetryRule& rule);
  bool IsReady();
  bool MendDamage();
  void GiveUpStrangers(const FileState& file);
  void SettleJournal();
  void MakeDatabase();

  const SourceKind kind_;
  const char* const path_;
  std::unique_lock<std::mutex> lock_;
  Database& database_;
  bool looked_ = false;  // at the file, since the lock was last taken
};

template <typename Attempt>
bool StoreAccess::TryRepeatedly(const RetryRule& rule, Attempt attempt) {
  return TryRepeatedly(
      rule, [](void* object) { return (*static_cast<Attempt*>(object))(); }, &attempt);
}

// Sets the memory of all kinds back to that at start: nothing is open, nothing recovered, no journal chosen.
// Before any other thread exists.
void ResetStore();

}  // namespace datacollector
