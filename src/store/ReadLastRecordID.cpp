#include "store/ReadLastRecordID.h"

#include <string_view>

#include "ground/FixedText.h"
#include "ground/KindTable.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

struct RecoveryRow {
  SourceKind kind;
  const char* function;
  WaitUnit unit;  // of the wait between two attempts at start
};

// The writers of RS-232 and SNMP take the same setting as milliseconds.
constexpr auto kRecoveries = KindTable<RecoveryRow>({
    {AIO, "ReadLastAIORecordID", WaitUnit::Seconds},
    {DIO, "ReadLastDIORecordID", WaitUnit::Seconds},
    {TEMPERATURE, "ReadLastTemperatureRecordID", WaitUnit::Seconds},
    {RS485, "ReadLastRS485RecordID", WaitUnit::Milliseconds},
    {RS232, "ReadLastRS232RecordID", WaitUnit::Seconds},
    {SNMP, "ReadLastSNMPRecordID", WaitUnit::Seconds},
});

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
      query.gui16_LatestRecordID = static_cast<std::uint16_t>(DecimalValue(ValueText(values[column])));
      Print("gui16_LatestRecordID = %d\n", query.gui16_LatestRecordID);
    }
  }
  return 0;
}

// The newest row is the one inserted last. In a ring that has come round it carries the last number written,
// which is not the highest one.
bool QueryLastRecord(StoreAccess& access, const DatabaseConfig& config, SourceKind kind, WaitUnit unit,
                     LastRecordQuery& query) {
  const char* table = config.i8_TableName.c_str();
  FixedText<1024> statement;
  statement.Format("select * from %s where oid = (select max(oid) from %s)", table, table);
  const RetryRule rule = {.texts = kRetryTexts,
                          .table = table,
                          .maxAttempts = config.ui16_MaxDatabaseAccessRetry,
                          .interval = config.i32_DatabaseAccessWaitInterval,
                          .unit = unit,
                          .makesMissingTable = true,
                          .function = kRecoveries[kind].function};
  return access.TryRepeatedly(rule, [&] {
    query.gui16_LatestRecordID = 0;
    return access.Connection().Execute(statement.c_str(), OnLastRecord, &query);
  });
}

Recovery RecoverNumber(const DatabaseConfig& config, SourceKind kind, StoreAccess& access, WaitUnit unit,
                       std::uint16_t& recordNumber) {
  const char* table = config.i8_TableName.c_str();
  LastRecordQuery query{config.i8_RecordNumber.c_str(), 0};
  if (!access.Open()) {
    PrintError("Can't Connect to database '%s'\nError message: %s\n", config.i8_DatabaseName.c_str(),
               access.ErrorText());
    return Recovery::NoTable;
  }
  if (!QueryLastRecord(access, config, kind, unit, query)) {
    PrintError("can not read last record from table '%s'\nError Message:%s\n", table, access.ErrorText());
    return access.Connection().LastFailure() == Failure::NoTable ? Recovery::NoTable : Recovery::Failed;
  }
  Print("Read last Record number '%d' from table '%s'\n", query.gui16_LatestRecordID, table);
  recordNumber = query.gui16_LatestRecordID;
  access.SetRecovered();
  return Recovery::Done;
}

Recovery Recover(DataCollectorMainStructure& main, SourceKind kind, StoreAccess& access, WaitUnit unit,
                 std::uint16_t& recordNumber) {
  const FunctionTrace trace(kRecoveries[kind].function);
  const Recovery outcome = RecoverNumber(main.DataCollectorDBConfig[kind], kind, access, unit, recordNumber);
  PrintLine(outcome == Recovery::Done ? "Returning SUCCESS from function 'ReadLastRecordID'"
                                      : "Returning FAILURE from function 'ReadLastRecordID'");
  return outcome;
}

}  // namespace

int ReadLastRecordID(DataCollectorMainStructure& main, SourceKind kind, std::uint16_t& recordNumber) {
  StoreAccess access(kind, main.DataCollectorDBConfig[kind].i8_DatabaseName.c_str());
  const Recovery outcome = Recover(main, kind, access, kRecoveries[kind].unit, recordNumber);
  access.Close();
  return outcome == Recovery::Done ? 0 : -1;
}

Recovery RecoverForRecord(DataCollectorMainStructure& main, SourceKind kind, StoreAccess& access,
                          WaitUnit unit) {
  if (access.IsRecovered()) {
    return Recovery::Done;
  }
  return Recover(main, kind, access, unit, main.DataCollectorDBData.ui16_DBRecordNumber[kind]);
}

int ReadLastAIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, AIO, recordNumber);
}
int ReadLastDIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, DIO, recordNumber);
}
int ReadLastTemperatureRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, TEMPERATURE, recordNumber);
}
int ReadLastRS485RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, RS485, recordNumber);
}
int ReadLastRS232RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, RS232, recordNumber);
}
int ReadLastSNMPRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, SNMP, recordNumber);
}

}  // namespace datacollector
