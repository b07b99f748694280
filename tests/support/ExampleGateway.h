// The example configuration as the main state, and databases to go with it.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/LibConfigRead.h"
#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "store/StoreAccess.h"
#include "support/CaptureOutput.h"

namespace datacollector {

// Column name to value, "NULL" for none.
using Row = std::map<std::string, std::string>;

// Runs a statement on a database file; one that fails, fails the test. Returns its rows.
inline std::vector<Row> RunSql(const std::string& path, const std::string& sql) {
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
  };
  sqlite3* opened = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &opened), SQLITE_OK) << path;
  const std::unique_ptr<sqlite3, Close> handle(opened);
  const auto collect = [](void* rows, int count, char** values, char** names) {
    Row row;
    for (int column = 0; column < count; ++column) {
      row[names[column]] = values[column] == nullptr ? "NULL" : values[column];
    }
    static_cast<std::vector<Row>*>(rows)->push_back(row);
    return 0;
  };
  std::vector<Row> rows;
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(handle.get(), sql.c_str(), collect, &rows, &error), SQLITE_OK)
      << sql << ": " << (error == nullptr ? "" : error);
  sqlite3_free(error);
  return rows;
}

// Names the tests of a kind in a test suite that runs for several.
struct KindName {
  std::string operator()(const ::testing::TestParamInfo<SourceKind>& info) const {
    return kKindWord[info.param];
  }
};

// What a source application of each kind publishes: request id 7, meter 1, line 1.
inline constexpr std::array<const char*, kSourceKinds> kExamplePayloads = {
    R"("<","M417",0,7,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")",
    R"("<","AI2DI2DO2_VT480",0,7,99,1,0,"2026-11-20 10:00:00",0,"0",">")",
    R"("<","AI2DI2DO2_VT480",0,7,99,21.5,22.0,"2026-11-20 10:00:00",0,"0",">")",
    R"(1,"GW0001",0,7,1,1,"PM3-A","3P4W","17","192.168.1.17","0","40001","3","3","230.1","229.8","231.0",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
    R"(1,"SITE01","GW0001",0,7,1,1,"PM1-C","1P2W","5","0","40001","3","3","230.1","5.2","1.19",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
    R"(1,"SITE01","GW0001",7,1,1,"ups-1","UPS","192.168.1.50",161,"0","[","load=41;battery=100","]",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
};

// Each test starts with the example configuration read, every flag at its start, all recoveries done, an
// empty log and no databases.
class ExampleGateway : public ::testing::Test {
 protected:
  ExampleGateway() {
    std::filesystem::copy(
        std::string(DATACOLLECTOR_SOURCE_DIR) + "/gateway/Config/root", "/root",
        std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
    std::filesystem::create_directories(kLogDirectory);
    std::filesystem::remove(kLogFile);
    ResetStore();
    std::filesystem::remove_all(kDataFolder);
    ZeroMainState(gMainState);
    ZeroFlags();
    {
      CapturedOutput output;
      ReadConfig(gMainState);
      output.Out();
    }
    for (const SourceKind kind : kAllKinds) {
      StoreAccess(kind, gMainState.DataCollectorDBConfig[kind].i8_DatabaseName.c_str()).SetRecovered();
    }
    SrcFlags = {3, 4, 1, 1};
  }
  // The daemon keeps the configured texts as long as it lives; a test process goes on.
  ~ExampleGateway() override {
    const DataCollectorSiteConfig& site = gMainState.DataCollectorSiteConfig;
    for (const char* text :
         {site.SiteID, site.DeviceID, site.FailureDataCharacter, site.OverallRecordstartmark,
          site.OverallRecordendmark, gMainState.SoftwareVer, gMainState.OruVer}) {
      std::free(const_cast<char*>(text));
    }
    ZeroMainState(gMainState);
    ZeroFlags();
  }

  static constexpr const char* kDataFolder = "/vorl/disk/AppData/K740/DataCollector";

  static std::string DatabaseOf(SourceKind kind) {
    return gMainState.DataCollectorDBConfig[kind].i8_DatabaseName.c_str();
  }
  static std::string TableOf(SourceKind kind) {
    return gMainState.DataCollectorDBConfig[kind].i8_TableName.c_str();
  }

  // Makes a kind's database with its empty table. The store has said how it keeps it.
  static void MakeTable(SourceKind kind) {
    std::filesystem::create_directories(std::filesystem::path(DatabaseOf(kind)).parent_path());
    const DatabaseConfig& config = gMainState.DataCollectorDBConfig[kind];
    std::string columns;
    for (std::size_t index = 0; index < config.ui16_NoOfColumns; ++index) {
      const std::string name = config.i8_ColumnNames[index].c_str();
      columns += (index == 0 ? "" : ", ") + name + (name == "RecordNumber" ? " INTEGER" : " TEXT");
    }
    RunSql(DatabaseOf(kind), "CREATE TABLE " + TableOf(kind) + " (" + columns + ")");
    CapturedOutput output;
    StoreAccess(kind, config.i8_DatabaseName.c_str()).OpenOnce();
    output.Out();
  }
  static void MakeAllTables() {
    for (const SourceKind kind : kAllKinds) {
      MakeTable(kind);
    }
  }

  // Puts an unsent (sent) row of a record number into a kind's table.
  static void AddRow(SourceKind kind, int recordNumber, const std::string& txStatus = "0",
                     const std::string& readTime = "2026-11-20 10:00:01") {
    RunSql(DatabaseOf(kind), "INSERT INTO " + TableOf(kind) +
                                 " (StartMark, SiteID, RecordNumber, TxStatus, TxStatusTime, RecordReadTime,"
                                 " EndMark) VALUES ('<', 'SITE01', " +
                                 std::to_string(recordNumber) + ", '" + txStatus + "', '0', '" + readTime +
                                 "', '>')");
  }

  // All rows of a kind's table, oldest first.
  static std::vector<Row> RowsOf(SourceKind kind) {
    return RunSql(DatabaseOf(kind), "SELECT * FROM " + TableOf(kind) + " ORDER BY rowid");
  }

  static const char* SubscribeTopic(std::size_t entry) {
    return gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[entry].c_str();
  }
};

}  // namespace datacollector
