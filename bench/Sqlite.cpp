#include "Sqlite.h"

#include <cstdio>
#include <cstdlib>

namespace datacollector::bench {
namespace {

// A row's first value, as the callback of SQLite's own loop gives it.
int TakeNumber(void* number, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<std::int64_t*>(number) = values[0] == nullptr ? 0 : std::strtoll(values[0], nullptr, 10);
  return 0;
}

}  // namespace

void Fail(const std::string& reason) {
  std::fprintf(stderr, "bench: %s\n", reason.c_str());
  std::exit(EXIT_FAILURE);
}

Connection::Connection(const std::string& path) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open(path.c_str(), &handle);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    Fail("can't open " + path);
  }
  sqlite3_busy_timeout(handle, 100);
  // Record data has its texts in double quotes.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
}

void Connection::Run(const std::string& statements) const {
  if (sqlite3_exec(handle_.get(), statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(statements + ": " + sqlite3_errmsg(handle_.get()));
  }
}

std::int64_t Connection::Number(const std::string& query) const {
  std::int64_t number = 0;
  if (sqlite3_exec(handle_.get(), query.c_str(), TakeNumber, &number, nullptr) != SQLITE_OK) {
    Fail(query + ": " + sqlite3_errmsg(handle_.get()));
  }
  return number;
}

}  // namespace datacollector::bench
