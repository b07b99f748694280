#include "store/UpdateRecord.h"

#include <array>
#include <ctime>

#include "app/ground/FileLogger.h"
#include "app/ground/FixedText.h"
#include "app/ground/Trace.h"
#include "store/Database.h"
#include "store/RecordData.h"

namespace datacollector {
namespace {

constexpr const char* kOpenFailure = "Can't Connect database '%s'\nError message: %s\n";
constexpr const char* kUpdateFailure = "can't update record from table %s\nError message:%s\n";
constexpr const char* kRefusal = "status or time stamp with a single quote";

struct Updating {
  WaitUnit unit;               // of the wait between two attempts
  const char* openFailureLog;  // nullptr: failures are not logged
  const char* updateFailureLog;
};

constexpr std::array<Updating, kSourceKinds> kUpdatings = {{
    {WaitUnit::Seconds, nullptr, nullptr},                   // AIO
    {WaitUnit::Seconds, nullptr, nullptr},                   // DIO
    {WaitUnit::Seconds, nullptr, nullptr},                   // TEMPERATURE
    {WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},  // RS485
    {WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},  // RS232
    {WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},  // SNMP
}};

using UpdateStatement = FixedText<5000>;

void BuildStatement(const char* table, const DatabaseParams& params, const DatabaseUpdate& update,
                    UpdateStatement& statement) {
  statement.Format("UPDATE %s SET %s = %d, %s = '%s' WHERE %s = %d and %s = '%s';", table,
                   params.i8_TxStatusColumn.c_str(), update.i32_TxStatus,
                   params.i8_TxStatusTimeColumn.c_str(), update.i8_TxTimeStamp.c_str(),
                   params.i8_RecordIDColumn.c_str(), update.i32_RecordNum,
                   params.i8_RecordWriteTimeColumn.c_str(), update.i8_RecordReadTimeStamp.c_str());
}

// The two texts come from another process and stand between single quotes.
bool ExecuteUpdate(Database& database, const DatabaseUpdate& update, const UpdateStatement& statement) {
  if (!IsQuotable(update.i8_TxTimeStamp.view()) || !IsQuotable(update.i8_RecordReadTimeStamp.view())) {
    database.Refuse(kRefusal);
    return false;
  }
  return database.Execute(statement.c_str());
}

bool OpenForUpdate(Database& database, const char* path, const char* failureLog) {
  if (database.Open(path)) {
    return true;
  }
  PrintError(kOpenFailure, path, database.ErrorText());
  if (failureLog != nullptr) {
    WriteLog(failureLog, path, database.ErrorText());
  }
  PrintLine("Exiting Context");
  return false;
}

int UpdateRecord(const DataCollectorMainStructure& main, SourceKind kind, const char* function) {
  const FunctionTrace trace(function);
  const Updating& updating = kUpdatings[kind];
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  const DatabaseUpdate& update = main.DataCollectorDBUpdate[kind];
  const char* table = config.i8_TableName.c_str();
  Print("status to be updated->%d<-\n", update.i32_TxStatus);
  Database database;
  if (!OpenForUpdate(database, config.i8_DatabaseName.c_str(), updating.openFailureLog)) {
    return -1;
  }
  UpdateStatement statement;
  BuildStatement(table, main.DataCollectorDBParams[kind], update, statement);
  const RetryRule rule = {.texts = {.failure = kUpdateFailure,
                                    .failureLog = updating.updateFailureLog,
                                    .retry = "wait for interval of '%d' seconds, then retry\n",
                                    .retryLog = nullptr,
                                    .missingTableLog = nullptr},
                          .path = config.i8_DatabaseName.c_str(),
                          .table = table,
                          .maxAttempts = main.DataCollectorDBParams[kind].ui16_MaxReadTry,
                          .interval = config.i32_DatabaseAccessWaitInterval,
                          .unit = updating.unit,
                          .creator = nullptr,
                          .function = function};
  if (!TryRepeatedly(database, rule, [&] { return ExecuteUpdate(database, update, statement); })) {
    return -1;
  }
  database.Close();
  Print("Updating Record %d to table %s is successfull\n", update.i32_RecordNum, table);
  return 0;
}

}  // namespace

int UpdateAIDBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, AIO, __func__); }
int UpdateDIODBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, DIO, __func__); }
int UpdateTemperatureDBRecord(DataCollectorMainStructure& main) {
  return UpdateRecord(main, TEMPERATURE, __func__);
}
int UpdateRS485DBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, RS485, __func__); }
int UpdateRS232DBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, RS232, __func__); }
int UpdateSNMPDBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, SNMP, __func__); }

int GetCurrentTimeStamp(TimeStampText& out) {
  const FunctionTrace trace(__func__);
  out.Clear();
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (::localtime_r(&now, &local) != nullptr) {
    std::strftime(out.characters.data(), out.characters.size(), "%Y-%m-%d %H:%M:%S", &local);
  }
  Print("Success: Current System TimeStamp for DB update = %s\n", out.c_str());
  return 0;
}

}  // namespace datacollector
