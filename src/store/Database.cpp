#include "store/Database.h"

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "app/ground/FileLogger.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

constexpr int kOpenAttempts = 3;

// Long enough for any other user of the file, the forwarding thread's own reads included; short enough that
// the network thread stays responsive.
constexpr int kLockWaitMilliseconds = 100;

// The pages that all connections share. Left alone, a connection allocates every page that it visits, which
// is a whole index where a large table's rows are counted. From a fixed set, a page that nobody holds is used
// again: the daemon's memory is the same for a table of any size, and the count takes two thirds of the time.
// A record touches about ten pages; should it ever take more than there are, or pages above 4096 bytes,
// SQLite allocates them.
constexpr int kPages = 64;
constexpr int kPageBytes = 4096 + 512;  // with what SQLite notes beside a page

// To be called before any other use of SQLite; refused, and without effect, later.
bool ShareFixedPages() {
  alignas(std::max_align_t) static std::array<std::byte, std::size_t{kPages} * kPageBytes> pages;
  return sqlite3_config(SQLITE_CONFIG_PAGECACHE, pages.data(), kPageBytes, kPages) == SQLITE_OK;
}

}  // namespace

void Database::CloseHandle::operator()(sqlite3* handle) const { sqlite3_close(handle); }

void Database::FreeText::operator()(char* text) const { sqlite3_free(text); }

bool Database::Open(const char* path) {
  [[maybe_unused]] static const bool shared = ShareFixedPages();
  sqlite3* handle = nullptr;
  error_.reset();
  refusal_ = nullptr;
  const int result = sqlite3_open(path, &handle);
  handle_.reset(handle);  // also after a failure: the handle carries the reason
  if (result != SQLITE_OK) {
    return false;
  }
  sqlite3_busy_timeout(handle, kLockWaitMilliseconds);
  // The fields of a record text stand in double quotes and are texts, whatever the library's default is.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  return true;
}

bool Database::Open(const OpenRule& rule) {
  bool open = false;
  for (int attempt = 0; !open && attempt < kOpenAttempts; ++attempt) {
    open = Open(rule.path);
    if (!open) {
      Print("Can not connect database '%s', so retrying %d time\n", rule.path, attempt);
      if (rule.attemptLog != nullptr) {
        WriteLog("%s", rule.attemptLog);
      }
    }
  }
  if (!open) {
    rule.creator(rule.path);
    open = Open(rule.path);
  }
  if (open) {
    Print("Connection to database '%s' is successfull\n", rule.path);
  }
  return open;
}

bool Database::Execute(const char* statement, RowCallback onRow, void* context) {
  char* error = nullptr;
  const int result = sqlite3_exec(handle_.get(), statement, onRow, context, &error);
  error_.reset(error);
  refusal_ = nullptr;
  return result == SQLITE_OK;
}

void Database::Rollback() {
  if (InTransaction()) {
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

bool Database::InTransaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }

void Database::Refuse(const char* text) {
  error_.reset();
  refusal_ = text;
}

const char* Database::ErrorText() const {
  if (refusal_ != nullptr) {
    return refusal_;
  }
  return error_ ? error_.get() : sqlite3_errmsg(handle_.get());
}

bool Database::LacksTable() const { return std::strstr(ErrorText(), "no such table") != nullptr; }

bool AwaitNextAttempt(const Database& database, const RetryRule& rule, std::int32_t failures) {
  const RetryTexts& texts = rule.texts;
  Print(texts.failure, rule.table, database.ErrorText());
  if (texts.failureLog != nullptr) {
    WriteLog(texts.failureLog, rule.table, database.ErrorText());
  }
  if (failures >= rule.maxAttempts) {
    return false;
  }
  Print(texts.retry, rule.interval);
  if (texts.retryLog != nullptr) {
    WriteLog("%s", texts.retryLog);
  }
  if (rule.creator != nullptr && database.LacksTable()) {
    if (texts.missingTableLog != nullptr) {
      WriteLog("%s", texts.missingTableLog);
    }
    rule.creator(rule.path);
  }
  ReadMonotonicClock(rule.function);
  const SleepSource sleep = database.LacksTable() ? rule.sleepWithoutTable : rule.sleep;
  if (rule.unit == WaitUnit::Milliseconds) {
    SleepInMilliSecond(rule.interval, sleep);
  } else {
    Wait(nullptr, rule.interval, sleep);
  }
  return true;
}

std::int32_t LeadingNumber(const char* text) {
  return static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
}

}  // namespace datacollector
