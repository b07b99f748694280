#include "store/ReadLastRecordID.h"

#include <array>
#include <string_view>

#include "app/ground/FixedText.h"
#include "app/ground/Flags.h"
#include "app/ground/Trace.h"
#include "store/CreateDB.h"
#include "store/Database.h"

namespace datacollector {
namespace {

// Unit of the wait between two attempts. The writers of RS-232 and SNMP take the same setting as
// milliseconds.
constexpr std::array<WaitUnit, kSourceKinds> kWaitUnits = {
    WaitUnit::Seconds,       // AIO
    WaitUnit::Seconds,       // DIO
    WaitUnit::Seconds,       // TEMPERATURE
    WaitUnit::Milliseconds,  // RS485
    WaitUnit::Seconds,       // RS232
    WaitUnit::Seconds,       // SNMP
};

constexpr RetryTexts kRetryTexts = {
    .failure = "can't read last record from table '%s'\nError message:%s\n",
    .failureLog = nullptr,
    .retry = "retry after waiting for an interval of '%d'seconds\n",
    .retryLog = nullptr,
    .missingTableLog = nullptr,
};

// The query of one recovery and what its row says.
struct LastRecordQuery {
  const char* recordNumberColumn;
  std::uint16_t gui16_LatestRecordID;
};

int OnLastRecord(void* context, int columns, char** values, char** names) {
  auto& query = *static_cast<LastRecordQuery*>(context);
  const std::string_view wanted = query.recordNumberColumn;
  Print("RECORD_NUMBER Column Name: %s\n", query.recordNumberColumn);
  for (int column = 0; column < columns; ++column) {
    if (wanted == names[column]) {
      query.gui16_LatestRecordID = static_cast<std::uint16_t>(LeadingNumber(ValueText(values[column])));
      Print("gui16_LatestRecordID = %d\n", query.gui16_LatestRecordID);
    }
  }
  return 0;
}

// The newest row is the one inserted last. In a ring that has come round it carries the last number written,
// which is not the highest one.
bool QueryLastRecord(Database& database, const DatabaseConfig& config, SourceKind kind, const char* function,
                     LastRecordQuery& query) {
  const char* table = config.i8_TableName.c_str();
  FixedText<1024> statement;
  statement.Format("select * from %s where oid = (select max(oid) from %s)", table, table);
  const RetryRule rule = {.texts = kRetryTexts,
                          .path = config.i8_DatabaseName.c_str(),
                          .table = table,
                          .maxAttempts = config.ui16_MaxDatabaseAccessRetry,
                          .interval = config.i32_DatabaseAccessWaitInterval,
                          .unit = kWaitUnits[kind],
                          .creator = CreatorOf(kind),
                          .function = function};
  return TryRepeatedly(database, rule,
                       [&] { return database.Execute(statement.c_str(), OnLastRecord, &query); });
}

bool RecoverRecordNumber(const DatabaseConfig& config, SourceKind kind, const char* function,
                         std::uint16_t& recordNumber) {
  const char* path = config.i8_DatabaseName.c_str();
  const char* table = config.i8_TableName.c_str();
  LastRecordQuery query{config.i8_RecordNumber.c_str(), 0};
  Database database;
  if (!database.Open({path, CreatorOf(kind), nullptr})) {
    PrintError("Can't Connect to database '%s'\nError message: %s\n", path, database.ErrorText());
    return false;
  }
  if (!QueryLastRecord(database, config, kind, function, query)) {
    PrintError("can not read last record from table '%s'\nError Message:%s\n", table, database.ErrorText());
    return false;
  }
  database.Close();
  Print("Read last Record number '%d' from table '%s'\n", query.gui16_LatestRecordID, table);
  recordNumber = query.gui16_LatestRecordID;
  return true;
}

int ReadLastRecordID(const DataCollectorMainStructure& main, SourceKind kind, std::uint16_t& recordNumber,
                     const char* function) {
  const FunctionTrace trace(function);
  const bool done = RecoverRecordNumber(main.DataCollectorDBConfig[kind], kind, function, recordNumber);
  PrintLine(done ? "Returning SUCCESS from function 'ReadLastRecordID'"
                 : "Returning FAILURE from function 'ReadLastRecordID'");
  gRecordNumberRecovery[kind] = done ? Recovery::Done : Recovery::Failed;
  gRecordNumberRecovery[kind].notify_all();
  return done ? 0 : -1;
}

using RecordIDReader = int (*)(DataCollectorMainStructure& main, std::uint16_t& recordNumber);

constexpr std::array<RecordIDReader, kSourceKinds> kReaders = {
    ReadLastAIORecordID,   ReadLastDIORecordID,   ReadLastTemperatureRecordID,
    ReadLastRS485RecordID, ReadLastRS232RecordID, ReadLastSNMPRecordID};

}  // namespace

int ReadLastAIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, AIO, recordNumber, __func__);
}
int ReadLastDIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, DIO, recordNumber, __func__);
}
int ReadLastTemperatureRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, TEMPERATURE, recordNumber, __func__);
}
int ReadLastRS485RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, RS485, recordNumber, __func__);
}
int ReadLastRS232RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, RS232, recordNumber, __func__);
}
int ReadLastSNMPRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, SNMP, recordNumber, __func__);
}

bool EnsureRecordNumberRecovered(DataCollectorMainStructure& main, SourceKind kind) {
  std::atomic<Recovery>& recovery = gRecordNumberRecovery[kind];
  // The main thread recovers the enabled kinds only; nobody would end a wait for another one.
  if (IsSourceEnabled(main.DataCollectorSourcesConfig, kind)) {
    recovery.wait(Recovery::Pending);
  }
  return recovery == Recovery::Done ||
         kReaders[kind](main, main.DataCollectorDBData.ui16_DBRecordNumber[kind]) == 0;
}

}  // namespace datacollector
