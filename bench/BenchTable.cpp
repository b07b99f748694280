#include "BenchTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Sqlite.h"
#include "config/DatabaseColumnsConfig.h"
#include "config/DatabaseConfig.h"
#include "config/SiteConfig.h"
#include "config/SourcesConfig.h"
#include "ground/Shell.h"
#include "store/StoreAccess.h"
#include "store/WriteRecord.h"

namespace datacollector::bench {
namespace {

const std::string kSource = DATACOLLECTOR_SOURCE_DIR;
const std::string kExample = kSource + "/gateway/Config/root/";
const std::string kOwn = kExample + "DataCollectorAppComponent/etc/Config/";

constexpr const char* kIoRecord = R"("<","M417",0,7,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")";
constexpr const char* kRs485Record =
    R"("GW0001",0,7,1,1,"PM3-A","3P4W","17","192.168.1.17","0","40001","3","3","230.1","229.8","231.0",)"
    R"("2026-11-20 10:00:00",0,"0",">")";

// The configuration readers report each file on standard error, where the results go.
class SilentErrors {
 public:
  SilentErrors() : real_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) { ::dup2(STDOUT_FILENO, STDERR_FILENO); }
  ~SilentErrors() {
    ::dup2(real_, STDERR_FILENO);
    ::close(real_);
  }
  SilentErrors(const SilentErrors&) = delete;
  SilentErrors(SilentErrors&&) = delete;
  SilentErrors& operator=(const SilentErrors&) = delete;
  SilentErrors& operator=(SilentErrors&&) = delete;

 private:
  int real_;
};

std::filesystem::path MakeFolder() {
  const char* place = std::getenv("STORE_BENCH_FOLDER");
  std::string pattern = std::string(place != nullptr ? place : ".") + "/store_bench.XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) {
    Fail("can't make " + pattern);
  }
  return std::filesystem::absolute(pattern);
}

void StoreOneRecord(DataCollectorMainStructure& main, SourceKind kind) {
  DataCollectorDBData& data = main.DataCollectorDBData;
  int result = 0;
  if (kind == RS485) {
    data.i8_MeterRecord.At(RS485, 0, RS485Line1).Assign(kRs485Record);
    result = WriteRS485DCDBRecords(main, RS485Line1, 0, 7);
  } else {
    data.i8_IoRecord[AIO].Assign(kIoRecord);
    data.i8_ReadTimeStamp[AIO].Assign("2026-11-20 10:00:01");
    result = WriteAIDCDBRecords(main, 7);
  }
  if (result != 0) {
    Fail("the first record can't be stored");
  }
}

}  // namespace

BenchTable::BenchTable(SourceKind kind, std::size_t rows, Layout layout)
    : kind_(kind), rows_(rows), folder_(MakeFolder()), main_(std::make_unique<DataCollectorMainStructure>()) {
  ZeroMainState(*main_);
  ReadExampleConfiguration();
  CreateTable();
  ResetStore();
  StoreAccess(kind_, Path().c_str()).SetRecovered();
  StoreOneRecord(*main_, kind_);
  Fill();
  ApplyLayout(layout);
}

BenchTable::~BenchTable() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void BenchTable::ReadExampleConfiguration() {
  const SilentErrors silence;
  const auto ReadAll = [this](auto read, const std::string& suffix) {
    const auto path = [&](const char* kind) { return kOwn + kind + suffix; };
    read(*main_, path("AIO").c_str(), path("DIO").c_str(), path("RS485").c_str(), path("RS232").c_str(),
         path("Temperature").c_str(), path("SNMP").c_str());
  };
  ReadSourcesConfig(*main_, (kExample + "SourceAppComponent/etc/Config/DataSourcesConfig.cfg").c_str());
  ReadAll(ReadDataCollectorDBColumnsConfig, "PerDatabaseColumnsConfig.cfg");
  ReadAll(ReadDataCollectorDBCtrlConfig, "PerDatabaseCtrlConfig.cfg");
  ReadAll(ReadDataCollectorDBCtrlUpdateConfig, "PerDatabaseCtrlConfig.cfg");
  ReadSiteIDCfg(*main_, (kExample + "FixedPacketAppComponent/etc/Config/FixedPacketConfig.cfg").c_str());
  main_->DataCollectorDBConfig[kind_].i8_DatabaseName.Assign(Path());
  main_->DataCollectorDBConfig[kind_].ui16_MAXRecords = static_cast<std::uint16_t>(rows_);
  main_->DataCollectorDBParams[kind_].i8_DatabaseName.Assign(Path());
}

void BenchTable::CreateTable() const {
  const std::string columnFile = kOwn + (kind_ == RS485 ? "RS485" : "AIO") + "PerDatabaseColumnsConfig.cfg";
  const std::string command =
      kSource + "/gateway/DatabaseInterface.sh --command create_table --databasepath '" + folder_.string() +
      "' --database Bench.db --table " + main_->DataCollectorDBConfig[kind_].i8_TableName.c_str() +
      " --config '" + columnFile + "'";
  if (RunShellCommand(command.c_str()) != 0) {
    Fail("the table script failed");
  }
}

// Multiplies the first record, which stays the example of all others.
void BenchTable::Fill() {
  const DatabaseConfig& config = main_->DataCollectorDBConfig[kind_];
  std::string columns;
  std::string values;
  for (std::size_t column = 0; column < config.ui16_NoOfColumns; ++column) {
    const std::string name = config.i8_ColumnNames[column].c_str();
    columns += (column == 0 ? "" : ",") + name;
    values += (column == 0 ? "" : ",") + (name == config.i8_RecordNumber.c_str() ? "number" : name);
  }
  const std::string table = config.i8_TableName.c_str();
  if (rows_ > 1) {
    Execute(
        "WITH RECURSIVE numbers(number) AS (SELECT 2 UNION ALL SELECT number + 1 FROM numbers WHERE number "
        "< " +
        std::to_string(rows_) + ") INSERT INTO " + table + " (" + columns + ") SELECT " + values + " FROM " +
        table + " JOIN numbers WHERE " + table + ".rowid = 1 ORDER BY number");
  }
  Execute("UPDATE " + table + " SET " + main_->DataCollectorDBParams[kind_].i8_TxStatusColumn.c_str() +
          " = '1'");
  main_->DataCollectorDBData.ui16_DBRecordNumber[kind_] = static_cast<std::uint16_t>(rows_);
}

void BenchTable::ApplyLayout(Layout layout) const {
  const std::string table = main_->DataCollectorDBConfig[kind_].i8_TableName.c_str();
  if (!layout.indexes) {
    Execute("DROP INDEX " + table + "_RecordNumber_index");
    Execute("DROP INDEX " + table + "_TxStatus_index");
  }
  if (layout.pageSize != 0) {
    Execute("PRAGMA page_size = " + std::to_string(layout.pageSize) + "; VACUUM");
  }
}

void BenchTable::Execute(const std::string& statement) const { Connection(Path()).Run(statement); }

}  // namespace datacollector::bench
