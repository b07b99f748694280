#include "support/ExampleGateway.h"

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "config/LibConfigRead.h"
#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "store/StoreAccess.h"
#include "support/CaptureOutput.h"

namespace datacollector {

std::vector<Row> RunSql(const std::string& path, const std::string& sql) {
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

ExampleGateway::ExampleGateway() {
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

ExampleGateway::~ExampleGateway() {
  const DataCollectorSiteConfig& site = gMainState.DataCollectorSiteConfig;
  for (const char* text : {site.SiteID, site.DeviceID, site.FailureDataCharacter, site.OverallRecordstartmark,
                           site.OverallRecordendmark, gMainState.SoftwareVer, gMainState.OruVer}) {
    std::free(const_cast<char*>(text));
  }
  ZeroMainState(gMainState);
  ZeroFlags();
}

void ExampleGateway::MakeTable(SourceKind kind) {
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

void ExampleGateway::AddRow(SourceKind kind, int recordNumber, const std::string& txStatus,
                            const std::string& readTime) {
  RunSql(DatabaseOf(kind), "INSERT INTO " + TableOf(kind) +
                               " (StartMark, SiteID, RecordNumber, TxStatus, TxStatusTime, RecordReadTime,"
                               " EndMark) VALUES ('<', 'SITE01', " +
                               std::to_string(recordNumber) + ", '" + txStatus + "', '0', '" + readTime +
                               "', '>')");
}

}  // namespace datacollector
