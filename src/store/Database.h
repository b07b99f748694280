// A SQLite database file, opened for one operation, and the two rules that every operation of the store
// follows: how a database is opened and how a statement is tried again.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>

#include "app/ground/GenericFunctions.h"
#include "store/CreateDB.h"

struct sqlite3;

namespace datacollector {

// Receives one row; a value may be nullptr. Returns 0 to go on.
using RowCallback = int (*)(void* context, int columns, char** values, char** names);

// How a database is opened that may have to be made first.
struct OpenRule {
  const char* path;
  DatabaseCreator creator;
  const char* attemptLog;  // logged after each failed attempt; nullptr: nothing is logged
};

// One connection, used by one thread. Closes itself.
class Database {
 public:
  Database() = default;

  // One attempt, without a word.
  bool Open(const char* path);

  // Three attempts back to back, then the creator and a last attempt. Prints each outcome but the last
  // failure.
  bool Open(const OpenRule& rule);

  void Close() { handle_.reset(); }

  // Runs a statement. Waits up to 100 ms for a lock that somebody else holds.
  bool Execute(const char* statement, RowCallback onRow = nullptr, void* context = nullptr);

  // Takes back an open transaction, if there is one. Keeps the error text.
  void Rollback();
  bool InTransaction() const;

  // Makes `text` the reason of a failure, for a statement that was refused before SQLite saw it. `text` must
  // live as long as the connection.
  void Refuse(const char* text);

  // Whether the last statement failed because its table is missing.
  bool LacksTable() const;

  // Why the last open or statement failed. Valid until the next one and until Close.
  const char* ErrorText() const;

 private:
  struct CloseHandle {
    void operator()(sqlite3* handle) const;
  };
  struct FreeText {
    void operator()(char* text) const;
  };

  std::unique_ptr<sqlite3, CloseHandle> handle_;
  std::unique_ptr<char, FreeText> error_;
  const char* refusal_ = nullptr;
};

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
  const char* path;
  const char* table;
  std::int32_t maxAttempts;  // one attempt is always made
  std::int32_t interval;     // wait between two attempts
  WaitUnit unit;
  DatabaseCreator creator;  // called when the table is missing; nullptr: nobody is called
  const char* function;     // whose name an error of the clock quotes
  SleepSource sleep = ::nanosleep;
  SleepSource sleepWithoutTable = ::nanosleep;  // after an attempt that missed its table
};

// Reports the latest of `failures` failed attempts. Returns false when no further one is allowed; else waits
// for it and returns true.
bool AwaitNextAttempt(const Database& database, const RetryRule& rule, std::int32_t failures);

// Runs `attempt` until it returns true or the rule allows no further one.
template <typename Attempt>
bool TryRepeatedly(const Database& database, const RetryRule& rule, Attempt attempt) {
  std::int32_t failures = 0;
  while (!attempt()) {
    if (!AwaitNextAttempt(database, rule, ++failures)) {
      return false;
    }
  }
  return true;
}

// The text of a column value; a NULL counts as the empty text.
inline const char* ValueText(const char* value) { return value == nullptr ? "" : value; }

// The number at the start of a text, 0 when there is none.
std::int32_t LeadingNumber(const char* text);

}  // namespace datacollector
