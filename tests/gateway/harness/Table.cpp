#include "gateway/harness/Table.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>

namespace datacollector::gateway {
namespace {

constexpr int kBusyMilliseconds = 20000;

int CollectRow(void* rows, int count, char** values, char** names) {
  Row row;
  for (int i = 0; i < count; ++i) {
    row[names[i]] = values[i] == nullptr ? "NULL" : values[i];
  }
  static_cast<std::vector<Row>*>(rows)->push_back(row);
  return 0;
}

}  // namespace

std::string DatabaseOf(SourceKind kind) { return std::string(kDatabaseFolder) + FactsOf(kind).databaseFile; }

Database::Database(const std::string& file) {
  sqlite3* handle = nullptr;
  // Not read-only: what a killed daemon left behind is rolled back by whoever opens it next. On a disk where
  // the daemon can't have file locks, the test takes what it takes.
  const char* const locking = std::getenv("DATACOLLECTOR_TEST_LOCKING");
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, locking), SQLITE_OK) << file;
  handle_.reset(handle);
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
}

std::vector<Row> Database::Query(const std::string& sql) {
  std::vector<Row> rows;
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(handle_.get(), sql.c_str(), CollectRow, &rows, &error), SQLITE_OK)
      << sql << ": " << (error == nullptr ? "" : error);
  sqlite3_free(error);
  return rows;
}

std::vector<Row> RowsOf(SourceKind kind) {
  return Database(DatabaseOf(kind))
      .Query("SELECT * FROM " + std::string(FactsOf(kind).table) + " ORDER BY rowid");
}

std::vector<std::string> ColumnOf(SourceKind kind, const std::string& column) {
  std::vector<std::string> values;
  for (const Row& row : RowsOf(kind)) {
    values.push_back(row.at(column));
  }
  return values;
}

std::vector<std::string> ColumnNamesOf(SourceKind kind) {
  std::vector<std::string> names;
  for (const Row& row :
       Database(DatabaseOf(kind)).Query("PRAGMA table_info(" + std::string(FactsOf(kind).table) + ")")) {
    names.push_back(row.at("name"));
  }
  return names;
}

}  // namespace datacollector::gateway
