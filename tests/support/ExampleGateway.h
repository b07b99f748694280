// The example configuration as the main state, and databases to go with it.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/ExampleRecords.h"

namespace datacollector {

// Column name to value, "NULL" for none.
using Row = std::map<std::string, std::string>;

// Runs a statement on a database file; one that fails, fails the test. Returns its rows.
std::vector<Row> RunSql(const std::string& path, const std::string& sql);

// Names the tests of a kind in a test suite that runs for several.
struct KindName {
  std::string operator()(const ::testing::TestParamInfo<SourceKind>& info) const {
    return kKindWord[info.param];
  }
};

// Each test starts with the example configuration read, every flag at its start, all recoveries done, an
// empty log and no databases.
class ExampleGateway : public ::testing::Test {
 protected:
  ExampleGateway();
  // The daemon keeps the configured texts as long as it lives; a test process goes on.
  ~ExampleGateway() override;

  static constexpr const char* kDataFolder = "/vorl/disk/AppData/K740/DataCollector";

  static std::string DatabaseOf(SourceKind kind) {
    return gMainState.DataCollectorDBConfig[kind].i8_DatabaseName.c_str();
  }
  static std::string TableOf(SourceKind kind) {
    return gMainState.DataCollectorDBConfig[kind].i8_TableName.c_str();
  }

  // Makes a kind's database with its empty table. The store has said how it keeps it.
  static void MakeTable(SourceKind kind);
  static void MakeAllTables() {
    for (const SourceKind kind : kAllKinds) {
      MakeTable(kind);
    }
  }

  // Puts an unsent (sent) row of a record number into a kind's table.
  static void AddRow(SourceKind kind, int recordNumber, const std::string& txStatus = "0",
                     const std::string& readTime = "2026-11-20 10:00:01");

  // All rows of a kind's table, oldest first.
  static std::vector<Row> RowsOf(SourceKind kind) {
    return RunSql(DatabaseOf(kind), "SELECT * FROM " + TableOf(kind) + " ORDER BY rowid");
  }

  static const char* SubscribeTopic(std::size_t entry) {
    return gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[entry].c_str();
  }
};

}  // namespace datacollector
