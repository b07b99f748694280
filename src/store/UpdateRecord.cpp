#include "store/UpdateRecord.h"

#include <array>
#include <atomic>
#include <ctime>

#include "ground/FileLogger.h"
#include "ground/FixedText.h"
#include "ground/KindTable.h"
#include "ground/Notices.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "store/RecordData.h"
#include "store/StoreAccess.h"

namespace datacollector {
namespace {

constexpr const char* kOpenFailure = "Can't Connect database '%s'\nError message: %s\n";
constexpr const char* kUpdateFailure = "can't update record from table %s\nError message:%s\n";
constexpr const char* kRefusal = "status or time stamp with a single quote";

struct Updating {
  SourceKind kind;
  const char* function;
  WaitUnit unit;               // of the wait between two attempts
  const char* openFailureLog;  // nullptr: failures are not logged
  const char* updateFailureLog;
};

constexpr auto kUpdatings = KindTable<Updating>({
    {AIO, "UpdateAIDBRecord", WaitUnit::Seconds, nullptr, nullptr},
    {DIO, "UpdateDIODBRecord", WaitUnit::Seconds, nullptr, nullptr},
    {TEMPERATURE, "UpdateTemperatureDBRecord", WaitUnit::Seconds, nullptr, nullptr},
    {RS485, "UpdateRS485DBRecord", WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},
    {RS232, "UpdateRS232DBRecord", WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},
    {SNMP, "UpdateSNMPDBRecord", WaitUnit::Milliseconds, kOpenFailure, kUpdateFailure},
});

std::array<std::atomic<std::uint32_t>, kSourceKinds> updatesTried;

using UpdateStatement = FixedText<2500>;

void BuildStatement(const char* table, const DatabaseParams& params, UpdateStatement& statement) {
  statement.Format("UPDATE %s SET %s = ?, %s = ? WHERE %s = ? and %s = ?;", table,
                   params.i8_TxStatusColumn.c_str(), params.i8_TxStatusTimeColumn.c_str(),
                   params.i8_RecordIDColumn.c_str(), params.i8_RecordWriteTimeColumn.c_str());
}

// Texts of another process with a quote in them have never been written into a row, and are not.
bool ExecuteUpdate(Database& database, const DatabaseUpdate& update, const UpdateStatement& statement) {
  using Sort = BoundValue::Sort;
  if (!IsQuotable(update.i8_TxTimeStamp.view()) || !IsQuotable(update.i8_RecordReadTimeStamp.view())) {
    database.Refuse(kRefusal);
    return false;
  }
  std::array<BoundValue, 4> values = {{
      {.sort = Sort::Integer, .integer = update.i32_TxStatus},
      {.sort = Sort::Text, .text = update.i8_TxTimeStamp.view()},
      {.sort = Sort::Integer, .integer = update.i32_RecordNum},
      {.sort = Sort::Text, .text = update.i8_RecordReadTimeStamp.view()},
  }};
  return database.Run(statement.c_str(), values);
}

bool OpenForUpdate(StoreAccess& access, const char* path, const char* failureLog) {
  if (access.OpenOnce()) {
    return true;
  }
  PrintError(kOpenFailure, path, access.ErrorText());
  if (failureLog != nullptr) {
    WriteLog(failureLog, path, access.ErrorText());
  }
  PrintLine("Exiting Context");
  return false;
}

}  // namespace

int UpdateRecord(DataCollectorMainStructure& main, SourceKind kind) {
  const Updating& updating = kUpdatings[kind];
  const FunctionTrace trace(updating.function);
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  const DatabaseUpdate& update = main.DataCollectorDBUpdate[kind];
  const char* path = config.i8_DatabaseName.c_str();
  const char* table = config.i8_TableName.c_str();
  Print("status to be updated->%d<-\n", update.i32_TxStatus);
  StoreAccess access(kind, path);
  if (!OpenForUpdate(access, path, updating.openFailureLog)) {
    return -1;
  }
  UpdateStatement statement;
  BuildStatement(table, main.DataCollectorDBParams[kind], statement);
  const RetryRule rule = {.texts = {.failure = kUpdateFailure,
                                    .failureLog = updating.updateFailureLog,
                                    .retry = "wait for interval of '%d' seconds, then retry\n",
                                    .retryLog = nullptr,
                                    .missingTableLog = nullptr},
                          .table = table,
                          .maxAttempts = main.DataCollectorDBParams[kind].ui16_MaxReadTry,
                          .interval = config.i32_DatabaseAccessWaitInterval,
                          .unit = updating.unit,
                          .makesMissingTable = false,
                          .function = updating.function};
  Database& database = access.Connection();
  const auto attempt = [&] {
    ++updatesTried[kind];
    return ExecuteUpdate(database, update, statement);
  };
  if (!access.TryRepeatedly(rule, attempt)) {
    return -1;
  }
  Print("Updating Record %d to table %s is successfull\n", update.i32_RecordNum, table);
  if (database.ChangedRows() == 0) {
    CountMisfit(kind);
    ReportMisfitConfirmation(kind, update.i32_RecordNum, update.i8_RecordReadTimeStamp.c_str());
  }
  return 0;
}

std::uint32_t UpdatesTried(SourceKind kind) { return updatesTried[kind]; }

int UpdateAIDBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, AIO); }
int UpdateDIODBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, DIO); }
int UpdateTemperatureDBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, TEMPERATURE); }
int UpdateRS485DBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, RS485); }
int UpdateRS232DBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, RS232); }
int UpdateSNMPDBRecord(DataCollectorMainStructure& main) { return UpdateRecord(main, SNMP); }

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
