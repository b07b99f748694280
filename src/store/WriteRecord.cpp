#include "store/WriteRecord.h"

#include <array>

#include "app/ground/FileLogger.h"
#include "app/ground/FixedText.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/Trace.h"
#include "store/CreateDB.h"
#include "store/Database.h"
#include "store/DatabaseWriteProtocol.h"
#include "store/ReadLastRecordID.h"
#include "store/RecordData.h"

namespace datacollector {
namespace {

// What a meter kind writes to the log file; the I/O kinds log nothing.
struct WriteLogs {
  const char* connect;
  const char* lastNumber;  // format of the record number
  const char* retry;
  const char* missingTable;
  const char* count;
  const char* deletion;
  const char* unableToDelete;
  const char* insertion;
};

// All meter kinds name the RS-485 table where the count fails: what searches the log finds one text.
constexpr WriteLogs MeterLogs(const char* connect, const char* unableToDelete) {
  return {.connect = connect,
          .lastNumber = "LAST RECORD ID READ FROM TABLE %d\n",
          .retry = "retry after waiting",
          .missingTable = "no such table",
          .count = "can not get total number of records from RS485 table",
          .deletion = "can not delete a record from table",
          .unableToDelete = unableToDelete,
          .insertion = "can't insert record into table\n"};
}
constexpr WriteLogs kNoLogs = {};

struct Writing {
  void (*packColumnNames)(const DataCollectorMainStructure& main, ColumnListText& out);
  void (*packRecord)(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin);
  WaitUnit unit;             // of the wait between two attempts
  bool keepsPublishTime;     // refreshes the kind's time of the last write attempt
  const char* limitFormat;   // prints the row limit before the full-table test; nullptr: not printed
  const char* numberFormat;  // prints the record number there
  WriteLogs logs;
};

// clang-format off
constexpr std::array<Writing, kSourceKinds> kWritings = {{
    {PackAIDBColumnNames, PackAIDBWriteRecord, WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {PackDIODBColumnNames, PackDIODBWriteRecord, WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {PackTemperatureDBColumnNames, PackTemperatureDBWriteRecord, WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {PackRS485DBColumnNames, PackRS485DBWriteRecord, WaitUnit::Milliseconds, true, nullptr, nullptr,
     MeterLogs("Can not connect database energymeter RS485", "Unable to delete a row from RS485 table")},
    {PackRS232DBColumnNames, PackRS232DBWriteRecord, WaitUnit::Milliseconds, true,
     "ui16_RS232MAXRecords = %d\n", "ui16_RS232DBRecordNumber = %d\n",
     MeterLogs("Can not connect database energymeter RS232", "Unable to delete a row from RS232 table")},
    {PackSNMPDBColumnNames, PackSNMPDBWriteRecord, WaitUnit::Milliseconds, true,
     "ui16_SNMPMAXRecords = %d\n", "ui16_SNMPDBRecordNumber = %d\n",
     MeterLogs("Can not connect database energymeter SNMP", "Unable to delete a row from SNMP table")},
}};
// clang-format on

constexpr const char* kNotLiterals = "record data is not a list of SQL literals";

// The texts of a count, a deletion and an insertion that fail.
constexpr const char* kCountFailure =
    "can not get total number of records from table '%s'\nError message:%s\n";
constexpr const char* kDeleteFailure = "can not delete a record from table %s\nError message:%s\n";
constexpr const char* kInsertFailure = "can't insert record into table %s\nError message:%s\n";

int OnCount(void* context, int columns, char** values, char** /*names*/) {
  auto& count = *static_cast<std::uint16_t*>(context);
  for (int column = 0; column < columns; ++column) {
    count = static_cast<std::uint16_t>(LeadingNumber(ValueText(values[column])));
  }
  return 0;
}

// The storing of one record in its table.
class RingWriter {
 public:
  // `recovered`: whether the last number in the table is known.
  RingWriter(DataCollectorMainStructure& main, SourceKind kind, const RecordOrigin& origin,
             const char* function, bool recovered)
      : main_(main),
        kind_(kind),
        origin_(origin),
        function_(function),
        recovered_(recovered),
        writing_(kWritings[kind]),
        config_(main.DataCollectorDBConfig[kind]),
        path_(config_.i8_DatabaseName.c_str()),
        table_(config_.i8_TableName.c_str()),
        number_(main.DataCollectorDBData.ui16_DBRecordNumber[kind]) {}

  bool Store();

 private:
  void Advance();
  void BuildStatements();
  bool CountRows();
  bool MayNumber() const;
  bool MakeRoom();
  bool Insert();
  bool TryCount();
  bool TryDelete();
  bool TryInsert();
  bool StepBack();
  RetryRule Rule(const char* failure, const char* failureLog) const;

  DataCollectorMainStructure& main_;
  const SourceKind kind_;
  const RecordOrigin& origin_;
  const char* const function_;
  const bool recovered_;
  const Writing& writing_;
  const DatabaseConfig& config_;
  const char* const path_;
  const char* const table_;
  std::uint16_t& number_;

  Database database_;
  std::uint16_t rows_ = 0;
  bool literals_ = false;
  FixedText<1000> deleteStatement_{};
  FixedText<7000> insertStatement_{};
};

void RingWriter::Advance() {
  Print("LAST RECORD ID READ FROM TABLE %d\n", number_);
  if (writing_.logs.lastNumber != nullptr) {
    WriteLog(writing_.logs.lastNumber, number_);
  }
  number_ = number_ == config_.ui16_MAXRecords ? std::uint16_t{1} : static_cast<std::uint16_t>(number_ + 1);
  Print("INCREMENTED LAST RECORD ID READ FROM TABLE %d\n", number_);
}

void RingWriter::BuildStatements() {
  ColumnListText columns{};
  writing_.packColumnNames(main_, columns);
  RecordText record{};
  writing_.packRecord(main_, record, origin_);
  literals_ = CountLiterals(record.view()).has_value();
  deleteStatement_.Format("delete from %s where %s = %d;", table_, config_.i8_RecordNumber.c_str(), number_);
  insertStatement_.Format("insert into %s (%s) values (%s);", table_, columns.c_str(), record.c_str());
}

RetryRule RingWriter::Rule(const char* failure, const char* failureLog) const {
  return {.texts = {.failure = failure,
                    .failureLog = failureLog,
                    .retry = "retry after waiting for an interval of '%d' seconds\n",
                    .retryLog = writing_.logs.retry,
                    .missingTableLog = writing_.logs.missingTable},
          .path = path_,
          .table = table_,
          .maxAttempts = config_.ui16_MaxDatabaseAccessRetry,
          .interval = config_.i32_DatabaseAccessWaitInterval,
          .unit = writing_.unit,
          .creator = CreatorOf(kind_),
          .function = function_};
}

bool RingWriter::TryCount() {
  FixedText<200> statement;
  statement.Format("SELECT COUNT(*) FROM %s", table_);
  if (!database_.Execute(statement.c_str(), OnCount, &rows_)) {
    return false;
  }
  Print("total records = %d\n", rows_);
  return true;
}

bool RingWriter::CountRows() {
  if (TryRepeatedly(database_, Rule(kCountFailure, writing_.logs.count), [&] { return TryCount(); })) {
    return true;
  }
  Print("can not get total number of records from table '%s'\nError message: %s\n", table_,
        database_.ErrorText());
  return false;
}

// A table that was missing when its last number was looked for has no rows; if it has some by now, numbering
// must not start at 1 over them.
bool RingWriter::MayNumber() const {
  if (recovered_ || rows_ == 0) {
    return true;
  }
  PrintError("The table '%s' has come back with rows; its last number is read before the next record\n",
             table_);
  return false;
}

// Deleting and inserting are one transaction, which every failed attempt takes back: whatever happens in
// between, the old row is still there, and nobody is locked out during a wait.
bool RingWriter::TryDelete() {
  if (database_.Execute("BEGIN") && database_.Execute(deleteStatement_.c_str())) {
    return true;
  }
  database_.Rollback();
  return false;
}

bool RingWriter::TryInsert() {
  const bool full = rows_ == config_.ui16_MAXRecords;
  if (full && !database_.InTransaction() && !TryDelete()) {
    return false;
  }
  if (!literals_) {
    database_.Refuse(kNotLiterals);
  } else if (database_.Execute(insertStatement_.c_str()) && (!full || database_.Execute("COMMIT"))) {
    return true;
  }
  database_.Rollback();
  return false;
}

// Only a table that holds exactly its limit loses a row. One that holds more, because the limit was lowered,
// keeps growing.
bool RingWriter::MakeRoom() {
  if (writing_.limitFormat != nullptr) {
    Print(writing_.limitFormat, config_.ui16_MAXRecords);
    Print(writing_.numberFormat, number_);
  }
  if (rows_ != config_.ui16_MAXRecords) {
    return true;
  }
  if (!TryRepeatedly(database_, Rule(kDeleteFailure, writing_.logs.deletion), [&] { return TryDelete(); })) {
    PrintError("Unable to delete a row from table '%s'\nError message:%s\n", table_, database_.ErrorText());
    if (writing_.logs.unableToDelete != nullptr) {
      WriteLog("%s", writing_.logs.unableToDelete);
    }
    return false;
  }
  Print("Deleted Record %d from table '%s'\n", number_, table_);
  return true;
}

bool RingWriter::Insert() {
  Print("Record Number to be inserted = %d\n", number_);
  const bool inserted =
      TryRepeatedly(database_, Rule(kInsertFailure, writing_.logs.insertion), [&] { return TryInsert(); });
  if (writing_.keepsPublishTime) {
    GetTimeStamp(main_.PublishTimeStamps.written[kind_]);
  }
  if (!inserted) {
    Print("Fail to insert record with ID-%d :Error message: %s\n", number_, database_.ErrorText());
  }
  return inserted;
}

// A number that had come round to 1 becomes 0; the next record is number 1 again.
bool RingWriter::StepBack() {
  --number_;
  database_.Close();
  Print("DECREMENTED RECORD NUMBER: %d\n", number_);
  return false;
}

bool RingWriter::Store() {
  if (!database_.Open({path_, CreatorOf(kind_), writing_.logs.connect})) {
    PrintError("Can't Connect to database '%s'\nError message: %s\n", path_, database_.ErrorText());
    return false;
  }
  Advance();
  BuildStatements();
  if (!CountRows() || !MayNumber() || !MakeRoom() || !Insert()) {
    return StepBack();
  }
  database_.Close();
  Print("Records Stored in table '%s' successfully\n", table_);
  Print("Record - %d inserted successfully\n", number_);
  return true;
}

int WriteRecord(DataCollectorMainStructure& main, SourceKind kind, const RecordOrigin& origin,
                const char* function) {
  const FunctionTrace trace(function);
  if (kWritings[kind].keepsPublishTime) {
    GetTimeStamp(main.PublishTimeStamps.written[kind]);
  }
  // Without a database or a table every statement fails as it would at any other time, and says so.
  const Recovery recovery = AwaitRecordNumberRecovery(main, kind, kWritings[kind].unit);
  const bool stored = recovery != Recovery::Failed &&
                      RingWriter(main, kind, origin, function, recovery == Recovery::Done).Store();
  Print("Returning %s from function '%s'\n", stored ? "SUCCESS" : "FAILURE", function);
  return stored ? 0 : -1;
}

}  // namespace

int WriteAIDCDBRecords(DataCollectorMainStructure& main, std::int32_t requestId) {
  return WriteRecord(main, AIO, {.requestId = requestId}, __func__);
}
int WriteDIODCDBRecords(DataCollectorMainStructure& main) { return WriteRecord(main, DIO, {}, __func__); }
int WriteTemperatureDCDBRecords(DataCollectorMainStructure& main) {
  return WriteRecord(main, TEMPERATURE, {}, __func__);
}
int WriteRS485DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId) {
  return WriteRecord(main, RS485, {.line = line, .meter = meter, .requestId = requestId}, __func__);
}
int WriteRS232DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId, const char* siteId, const char* deviceId) {
  return WriteRecord(main, RS232, {line, meter, requestId, siteId, deviceId}, __func__);
}
int WriteSNMPDCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                         std::int32_t requestId, const char* siteId, const char* deviceId) {
  return WriteRecord(main, SNMP, {line, meter, requestId, siteId, deviceId}, __func__);
}

}  // namespace datacollector
