// Looking into the daemon's databases.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "gateway/harness/Kinds.h"

namespace datacollector::gateway {

inline constexpr const char* kDatabaseFolder = "/vorl/disk/AppData/K740/DataCollector/Db/";

std::string DatabaseOf(SourceKind kind);

// A connection of the test's own. Reading takes the shared lock for microseconds and waits while the daemon
// writes, so that it may look at any time.
class Database {
 public:
  explicit Database(const std::string& file);

  // All rows of a query, each value as text. A statement that fails, fails the test.
  std::vector<Row> Query(const std::string& sql);
  void Run(const std::string& sql) { Query(sql); }

 private:
  struct Closer {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
  };
  std::unique_ptr<sqlite3, Closer> handle_;
};

// All rows of a kind's table, oldest first.
std::vector<Row> RowsOf(SourceKind kind);

// One column of all rows, oldest first.
std::vector<std::string> ColumnOf(SourceKind kind, const std::string& column);

// The table's columns in their order.
std::vector<std::string> ColumnNamesOf(SourceKind kind);

}  // namespace datacollector::gateway
