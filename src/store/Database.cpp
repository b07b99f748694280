#include "store/Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace datacollector {
namespace {

// Long enough for any other user of the file; short enough that the network thread stays responsive.
constexpr int kLockWaitMilliseconds = 100;

// Everything that a connection keeps of its database, in KiB: the pages that a record touches, in a table of
// any size, some twenty. Left alone, a connection keeps 2 MiB of them.
constexpr const char* kSmallCache = "PRAGMA cache_size=-96";

// With a rollback journal this syncs the journal's removal as well, which is the commit; with a log it is the
// full synchronisation. The log is cut back should an outside reader ever have made it grow. Deleted rows are
// overwritten only where that writes no page more.
constexpr const char* kSafeWrites =
    "PRAGMA synchronous=EXTRA; PRAGMA journal_size_limit=1000000; PRAGMA secure_delete=FAST";

// A log that was just switched on is made by the first reading. Its files must be known, lest they meet the
// file that takes the path over.
constexpr const char* kOpenLog = "SELECT COUNT(*) FROM sqlite_master";

// The log's content goes into the database before it is larger than this, in bytes: about the pages of a
// hundred and fifty records, so that its two syncs are hardly felt, and written as fast as one record.
constexpr std::int64_t kLogBytes = std::int64_t{512} * 1024;
constexpr std::int64_t kFrameHeaderBytes = 24;

// To be called before any other use of SQLite; refused, and without effect, later. Each connection is used
// under its kind's lock, so SQLite needs none of its own for it; nobody reads its memory statistics.
bool ConfigureLibrary() { return sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK; }

bool Succeeds(sqlite3* handle, const char* statements) {
  return sqlite3_exec(handle, statements, nullptr, nullptr, nullptr) == SQLITE_OK;
}

int TakeNumber(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<std::int64_t*>(context) = values[0] == nullptr ? 0 : std::strtoll(values[0], nullptr, 10);
  return 0;
}

// The text must stay until the statement has run.
void BindText(sqlite3_stmt* statement, int place, std::string_view text) {
  sqlite3_bind_text(statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void Bind(sqlite3_stmt* statement, int place, const BoundValue& value) {
  switch (value.sort) {
    case BoundValue::Sort::Null:
      sqlite3_bind_null(statement, place);
      break;
    case BoundValue::Sort::Integer:
      sqlite3_bind_int64(statement, place, value.integer);
      break;
    case BoundValue::Sort::Real:
      sqlite3_bind_double(statement, place, value.real);
      break;
    case BoundValue::Sort::Text:
      BindText(statement, place, value.text);
      break;
  }
}

// More than any query of the daemon asks for.
constexpr std::size_t kMostValues = 200;

// False when the memory does not suffice. The texts stay until the next step.
bool ReadRow(sqlite3_stmt* statement, int columns, char** values) {
  for (int column = 0; column < columns; ++column) {
    const unsigned char* const text = sqlite3_column_text(statement, column);
    if (text == nullptr && sqlite3_column_type(statement, column) != SQLITE_NULL) {
      return false;
    }
    values[column] = const_cast<char*>(reinterpret_cast<const char*>(text));
  }
  return true;
}

}  // namespace

void Database::CloseHandle::operator()(sqlite3* handle) const { sqlite3_close(handle); }

void Database::FinishStatement::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

// Keeps the outcome of a call. True for success.
bool Database::Note(int code) {
  if (code == SQLITE_OK) {
    failure_ = Failure::None;
    return true;
  }
  error_ = sqlite3_errmsg(handle_.get());
  failure_ = FailureOf(code, error_);
  return false;
}

bool Database::Open(const char* path, const char* locking) {
  [[maybe_unused]] static const bool configured = ConfigureLibrary();
  Close();
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(
      path, &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, locking);
  handle_.reset(handle);  // also after a failure: the handle carries the reason
  if (!Note(result)) {
    handle_.reset();
    return false;
  }
  static std::atomic<std::uint32_t> openings = 0;
  opening_ = ++openings;
  path_ = path;
  file_ = IdentityOf(path);
  sqlite3_busy_timeout(handle, kLockWaitMilliseconds);
  // The fields of a record text stand in double quotes and are texts, whatever the library's default is.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  // The log stays for the next opening, whose it may not be if the path has changed hands meanwhile.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return true;
}

void Database::Renew(const char* locking) {
  Database fresh;
  if (fresh.Open(path_.c_str(), locking) && fresh.File() == file_ &&
      fresh.Execute("SELECT COUNT(*) FROM sqlite_master")) {
    Swap(fresh);
  }
}

void Database::Swap(Database& other) {
  handle_.swap(other.handle_);
  prepared_.swap(other.prepared_);
  path_.swap(other.path_);
  std::swap(file_, other.file_);
  std::swap(beside_, other.beside_);
  std::swap(opening_, other.opening_);
  std::swap(settled_, other.settled_);
  std::swap(pageBytes_, other.pageBytes_);
  std::swap(failure_, other.failure_);
}

// Nothing here waits for a lock: whoever has it, the operation itself will wait. The journal comes first: the
// other settings read the database, which a log that can't be read there prevents.
bool Database::Settle(Journal journal) {
  sqlite3* const handle = handle_.get();
  sqlite3_busy_timeout(handle, 0);
  settled_ = SwitchJournal(handle, journal) && Succeeds(handle, kSmallCache) &&
             Succeeds(handle, kSafeWrites) && Succeeds(handle, kOpenLog) &&
             sqlite3_exec(handle, "PRAGMA page_size", TakeNumber, &pageBytes_, nullptr) == SQLITE_OK;
  sqlite3_busy_timeout(handle, kLockWaitMilliseconds);
  if (settled_ && journal == Journal::Log) {
    sqlite3_wal_hook(handle, OnCommit, this);
    for (std::size_t place = 0; place < beside_.size(); ++place) {
      beside_[place] = IdentityOf((path_ + kBesideSuffixes[place]).c_str());
    }
  }
  return settled_;
}

// In place of SQLite's own rule, which counts pages of any size.
int Database::OnCommit(void* context, sqlite3* handle, const char* name, int frames) {
  const auto& database = *static_cast<const Database*>(context);
  if (frames * (database.pageBytes_ + kFrameHeaderBytes) >= kLogBytes) {
    sqlite3_wal_checkpoint_v2(handle, name, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  }
  return SQLITE_OK;
}

void Database::Close() {
  for (Prepared& prepared : prepared_) {
    prepared.statement.reset();
  }
  handle_.reset();
  opening_ = 0;
  file_ = {};
  beside_.fill({});
  settled_ = false;
}

void Database::EmptyLog() {
  sqlite3_wal_checkpoint_v2(handle_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

bool Database::Execute(const char* statements, RowCallback onRow, void* context) {
  return Note(sqlite3_exec(handle_.get(), statements, onRow, context, nullptr));
}

sqlite3_stmt* Database::Compiled(const char* text) {
  for (const Prepared& prepared : prepared_) {
    if (prepared.statement && prepared.text == text) {
      return prepared.statement.get();
    }
  }
  sqlite3_stmt* statement = nullptr;
  if (!Note(sqlite3_prepare_v3(handle_.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr))) {
    return nullptr;
  }
  Prepared& place = prepared_[nextPrepared_];
  nextPrepared_ = (nextPrepared_ + 1) % prepared_.size();
  place.text = text;
  place.statement.reset(statement);
  return statement;
}

bool Database::Run(const char* statement, std::initializer_list<std::int64_t> numbers, std::int64_t* answer) {
  sqlite3_stmt* const compiled = Compiled(statement);
  if (compiled == nullptr) {
    return false;
  }
  int place = 0;
  for (const std::int64_t number : numbers) {
    sqlite3_bind_int64(compiled, ++place, number);
  }
  return Finish(compiled, answer);
}

bool Database::Finish(sqlite3_stmt* statement, std::int64_t* answer) {
  int result = sqlite3_step(statement);
  if (result == SQLITE_ROW && answer != nullptr) {
    *answer = sqlite3_column_int64(statement, 0);
  }
  while (result == SQLITE_ROW) {
    result = sqlite3_step(statement);
  }
  const bool done = Note(result == SQLITE_DONE ? SQLITE_OK : result);
  sqlite3_reset(statement);
  return done;
}

bool Database::ReadReal(BoundValue& value) {
  sqlite3_stmt* const compiled = Compiled("SELECT CAST(?1 AS REAL)");
  if (compiled == nullptr) {
    return false;
  }
  BindText(compiled, 1, value.text);
  const bool read = sqlite3_step(compiled) == SQLITE_ROW;
  value.real = read ? sqlite3_column_double(compiled, 0) : 0;
  return Note(sqlite3_reset(compiled)) && read;
}

bool Database::Run(const char* statement, std::span<BoundValue> values) {
  for (BoundValue& value : values) {
    if (value.sort == BoundValue::Sort::Real && !ReadReal(value)) {
      return false;
    }
  }
  sqlite3_stmt* const compiled = Compiled(statement);
  if (compiled == nullptr) {
    return false;
  }
  int place = 0;
  for (const BoundValue& value : values) {
    Bind(compiled, ++place, value);
  }
  return Finish(compiled, nullptr);
}

bool Database::Query(const char* statement, RowCallback onRow, void* context) {
  sqlite3_stmt* const compiled = Compiled(statement);
  if (compiled == nullptr) {
    return false;
  }
  std::array<char*, kMostValues> values{};
  const int columns = std::min(sqlite3_column_count(compiled), static_cast<int>(values.size()));
  int result = sqlite3_step(compiled);
  while (result == SQLITE_ROW) {
    const bool read = ReadRow(compiled, columns, values.data());
    result = !read                                                  ? SQLITE_NOMEM
             : onRow(context, columns, values.data(), nullptr) != 0 ? SQLITE_ABORT
                                                                    : sqlite3_step(compiled);
  }
  const bool done = Note(result == SQLITE_DONE ? SQLITE_OK : result);
  sqlite3_reset(compiled);
  return done;
}

std::int64_t Database::ChangedRows() const { return sqlite3_changes(handle_.get()); }

void Database::Rollback() {
  if (InTransaction()) {
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

bool Database::InTransaction() const {
  return handle_ != nullptr && sqlite3_get_autocommit(handle_.get()) == 0;
}

void Database::Refuse(const char* text) {
  error_ = text;
  failure_ = Failure::Refused;
}

}  // namespace datacollector
