// Whatever is accepted as record data, SQLite stores as exactly that many constants: it is one INSERT, and
// the program that SQLite makes of it loads constants and computes nothing.

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "store/RecordData.h"

namespace {

constexpr std::size_t kLongestRecordText = 4000;

// The instructions of an INSERT of constants into a table without indexes.
constexpr std::array kHarmless = {"Init",     "Transaction", "Goto",     "Halt",       "OpenWrite",
                                  "NewRowid", "Integer",     "Int64",    "String8",    "String",
                                  "Real",     "Null",        "SoftNull", "MakeRecord", "Noop",
                                  "Affinity", "Insert",      "Copy",     "SCopy",      "Close"};

[[noreturn]] void Fail(std::string_view text, const std::string& reason) {
  std::fprintf(stderr, "%s: %.*s\n", reason.c_str(), static_cast<int>(text.size()), text.data());
  std::abort();
}

int AllowInsertOnly(void* context, int action, const char* /*first*/, const char* /*second*/,
                    const char* /*database*/, const char* /*trigger*/) {
  const bool armed = *static_cast<const bool*>(context);
  return !armed || action == SQLITE_INSERT ? SQLITE_OK : SQLITE_DENY;
}

// A database in memory with a table for each number of values.
class Tables {
 public:
  Tables() {
    sqlite3_open(":memory:", &handle_);
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
    sqlite3_set_authorizer(handle_, AllowInsertOnly, &armed_);
  }
  ~Tables() { sqlite3_close(handle_); }
  Tables(const Tables&) = delete;
  Tables(Tables&&) = delete;
  Tables& operator=(const Tables&) = delete;
  Tables& operator=(Tables&&) = delete;

  void ExpectConstants(std::string_view text, std::size_t count) {
    const std::string table = TableOf(count);
    const std::string insert = "INSERT INTO " + table + " VALUES(" + std::string(text) + ")";
    armed_ = true;
    ExpectHarmless(text, insert);
    ExpectOneRow(text, insert);
    armed_ = false;
    Run("DELETE FROM " + table);
  }

 private:
  std::string TableOf(std::size_t count) {
    std::string table = "t" + std::to_string(count);
    if (made_.insert(count).second) {
      std::string columns = "c0 TEXT";
      for (std::size_t column = 1; column < count; ++column) {
        columns += ",c" + std::to_string(column) + " TEXT";
      }
      Run("CREATE TABLE " + table + "(" + columns + ")");
    }
    return table;
  }

  void Run(const std::string& statement) {
    if (sqlite3_exec(handle_, statement.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      Fail(statement, sqlite3_errmsg(handle_));
    }
  }

  sqlite3_stmt* Prepare(std::string_view text, const std::string& statement) {
    sqlite3_stmt* prepared = nullptr;
    const char* rest = nullptr;
    if (sqlite3_prepare_v2(handle_, statement.c_str(), -1, &prepared, &rest) != SQLITE_OK) {
      Fail(text, sqlite3_errmsg(handle_));
    }
    if (rest != statement.c_str() + statement.size()) {
      Fail(text, "more than one statement");
    }
    return prepared;
  }

  void ExpectHarmless(std::string_view text, const std::string& insert) {
    sqlite3_stmt* program = Prepare(text, "EXPLAIN " + insert);
    while (sqlite3_step(program) == SQLITE_ROW) {
      const std::string instruction = reinterpret_cast<const char*>(sqlite3_column_text(program, 1));
      if (std::find(kHarmless.begin(), kHarmless.end(), instruction) == kHarmless.end()) {
        Fail(text, "instruction " + instruction);
      }
    }
    sqlite3_finalize(program);
  }

  void ExpectOneRow(std::string_view text, const std::string& insert) {
    const int before = sqlite3_total_changes(handle_);
    sqlite3_stmt* statement = Prepare(text, insert);
    if (sqlite3_step(statement) != SQLITE_DONE || sqlite3_total_changes(handle_) != before + 1) {
      Fail(text, "not one row");
    }
    sqlite3_finalize(statement);
  }

  sqlite3* handle_ = nullptr;
  bool armed_ = false;
  std::set<std::size_t> made_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Tables tables;
  if (size > kLongestRecordText) {
    return 0;
  }
  // In memory of exactly its size, so that reading behind its end is seen.
  const std::unique_ptr<char[]> copy(new char[size]);
  std::copy_n(data, size, copy.get());
  const std::string_view text(copy.get(), size);
  if (const auto count = datacollector::CountLiterals(text)) {
    tables.ExpectConstants(text, *count);
  }
  return 0;
}
