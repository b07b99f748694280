#include "store/RingWriter.h"

#include "ground/FileLogger.h"
#include "ground/GenericFunctions.h"
#include "ground/Notices.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "store/NewestRow.h"
#include "store/RecordData.h"
#include "store/RowCount.h"

namespace datacollector {
namespace {

constexpr const char* kNotLiterals = "record data is not a list of SQL literals";
constexpr const char* kCameBack = "the table has come back with rows";

// The texts of a count, a deletion and an insertion that fail.
constexpr const char* kCountFailure =
    "can not get total number of records from table '%s'\nError message:%s\n";
constexpr const char* kLookFailure = "can not read the newest row of table '%s'\nError message:%s\n";
constexpr const char* kDeleteFailure = "can not delete a record from table %s\nError message:%s\n";
constexpr const char* kInsertFailure = "can't insert record into table %s\nError message:%s\n";

// Locks at once what it will change: nobody can come in between the deletion and the insertion and be in the
// way of the second.
constexpr const char* kBegin = "BEGIN IMMEDIATE";

}  // namespace

RingWriter::RingWriter(DataCollectorMainStructure& main, const Writing& writing, const RecordOrigin& origin,
                       StoreAccess& access, bool recovered)
    : main_(main),
      writing_(writing),
      kind_(writing.kind),
      origin_(origin),
      access_(access),
      database_(access.Connection()),
      recovered_(recovered),
      config_(main.DataCollectorDBConfig[writing.kind]),
      path_(config_.i8_DatabaseName.c_str()),
      table_(config_.i8_TableName.c_str()) {}

// Where the newest row can't be read, the record is stored: one too many does less harm than one too few.
bool RingWriter::IsStored() {
  bool holds = false;
  if (origin_.mayBeStored && recovered_) {
    RetryRule rule = Rule(kLookFailure, nullptr);
    rule.makesMissingTable = false;
    access_.TryRepeatedly(rule,
                          [&] { return LookForRecordInNewestRow(main_, kind_, origin_, database_, holds); });
  }
  if (holds) {
    PrintError("%s record left out: the newest row, number %d, is this record already\n",
               kKindIndexWord[kind_], main_.DataCollectorDBData.ui16_DBRecordNumber[kind_]);
  }
  return holds;
}

void RingWriter::Advance() {
  std::uint16_t& last = main_.DataCollectorDBData.ui16_DBRecordNumber[kind_];
  Print("LAST RECORD ID READ FROM TABLE %d\n", last);
  if (writing_.logs.lastNumber != nullptr) {
    WriteLog(writing_.logs.lastNumber, last);
  }
  last = last == config_.ui16_MAXRecords ? std::uint16_t{1} : static_cast<std::uint16_t>(last + 1);
  number_ = last;
  Print("INCREMENTED LAST RECORD ID READ FROM TABLE %d\n", number_);
}

void RingWriter::BuildStatements() {
  ColumnListText columns{};
  PackColumnNames(main_, kind_, columns);
  PackRecord(main_, kind_, record_, origin_);
  literals_ = CountLiterals(record_.view()).has_value();
  bound_ = literals_ && values_.Take(record_.view());
  deleteStatement_.Format("delete from %s where %s = ?1;", table_, config_.i8_RecordNumber.c_str());
  FixedText<200> marks{};
  for (std::size_t value = 0; bound_ && value < values_.Values().size(); ++value) {
    marks.Append(value == 0 ? "?" : ",?");
  }
  insertStatement_.Format("insert into %s (%s) values (%s);", table_, columns.c_str(),
                          bound_ ? marks.c_str() : record_.c_str());
}

// A statement with question marks is the same for every record and compiled once.
bool RingWriter::RunInsert() {
  return bound_ ? database_.Run(insertStatement_.c_str(), values_.Values())
                : database_.Execute(insertStatement_.c_str());
}

RetryRule RingWriter::Rule(const char* failure, const char* failureLog) const {
  return {.texts = {.failure = failure,
                    .failureLog = failureLog,
                    .retry = "retry after waiting for an interval of '%d' seconds\n",
                    .retryLog = writing_.logs.retry,
                    .missingTableLog = writing_.logs.missingTable},
          .table = table_,
          .maxAttempts = config_.ui16_MaxDatabaseAccessRetry,
          .interval = config_.i32_DatabaseAccessWaitInterval,
          .unit = writing_.unit,
          .makesMissingTable = true,
          .function = writing_.function};
}

bool RingWriter::TryCount() {
  std::int64_t rows = 0;
  if (const auto remembered = RememberedRows(kind_, database_)) {
    rows = *remembered;
  } else {
    FixedText<200> statement{};
    statement.Format("SELECT COUNT(*) FROM %s", table_);
    if (!database_.Run(statement.c_str(), {}, &rows)) {
      return false;
    }
    RememberRows(kind_, database_, table_, rows);
  }
  rows_ = static_cast<std::uint16_t>(rows);
  Print("total records = %d\n", rows_);
  return true;
}

bool RingWriter::CountRows() {
  if (access_.TryRepeatedly(Rule(kCountFailure, writing_.logs.count), [&] { return TryCount(); })) {
    return true;
  }
  Print("can not get total number of records from table '%s'\nError message: %s\n", table_,
        access_.ErrorText());
  return false;
}

// A table that was missing when its last number was looked for has no rows; if it has some by now, numbering
// must not start at 1 over them.
bool RingWriter::MayNumber() {
  if (recovered_ || rows_ == 0) {
    return true;
  }
  PrintError("The table '%s' has come back with rows; its last number is read before the next record\n",
             table_);
  database_.Refuse(kCameBack);
  return false;
}

// Counts the unsent row that goes, if it is one, within the transaction that takes it away. A table without
// the columns for that loses its row all the same.
bool RingWriter::CountEvicted() {
  const DatabaseParams& params = main_.DataCollectorDBParams[kind_];
  FixedText<1400> query{};
  query.Format("SELECT COUNT(*) FROM %s WHERE %s = ?1 AND %s = ?2", table_, config_.i8_RecordNumber.c_str(),
               params.i8_TxStatusColumn.c_str());
  evicted_ = 0;
  if (!database_.Run(query.c_str(), {number_, params.ui16_TxStatus}, &evicted_) || evicted_ == 0) {
    evicted_ = 0;
    return true;
  }
  if (!database_.Run("PRAGMA user_version", {}, &evictedEver_)) {
    return false;
  }
  evictedEver_ += evicted_;
  FixedText<60> update{};
  update.Format("PRAGMA user_version = %d", static_cast<int>(evictedEver_));
  return database_.Execute(update.c_str());
}

// Deleting and inserting are one transaction, which every failed attempt takes back: whatever happens in
// between, the old row is still there, and nobody is locked out during a wait.
bool RingWriter::TryDelete() {
  if (database_.Run(kBegin) && CountEvicted() && database_.Run(deleteStatement_.c_str(), {number_})) {
    deletedRows_ = database_.ChangedRows();
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
  } else if (RunInsert() && (!full || database_.Run("COMMIT"))) {
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
  if (!access_.TryRepeatedly(Rule(kDeleteFailure, writing_.logs.deletion), [&] { return TryDelete(); })) {
    PrintError("Unable to delete a row from table '%s'\nError message:%s\n", table_, access_.ErrorText());
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
      access_.TryRepeatedly(Rule(kInsertFailure, writing_.logs.insertion), [&] { return TryInsert(); });
  if (writing_.keepsPublishTime) {
    GetTimeStamp(main_.PublishTimeStamps.written[kind_]);
  }
  if (!inserted) {
    Print("Fail to insert record with ID-%d :Error message: %s\n", number_, access_.ErrorText());
  }
  return inserted;
}

// A number that had come round to 1 becomes 0; the next record is number 1 again.
bool RingWriter::StepBack() {
  ForgetRows(kind_);
  const auto before = static_cast<std::uint16_t>(number_ - 1);
  main_.DataCollectorDBData.ui16_DBRecordNumber[kind_] = before;
  Print("DECREMENTED RECORD NUMBER: %d\n", before);
  return false;
}

void RingWriter::Committed() {
  main_.DataCollectorDBData.ui16_DBRecordNumber[kind_] = number_;
  AddRows(kind_, 1 - deletedRows_);
  if (evicted_ > 0) {
    datacollector::CountEvicted(kind_, static_cast<std::uint32_t>(evicted_));
    ReportEvictedRecords(kind_, static_cast<std::uint32_t>(evictedEver_));
  }
}

bool RingWriter::Store() {
  if (!access_.Open(writing_.logs.connect)) {
    PrintError("Can't Connect to database '%s'\nError message: %s\n", path_, access_.ErrorText());
    return false;
  }
  if (IsStored()) {
    return true;
  }
  Advance();
  BuildStatements();
  if (!CountRows() || !MayNumber() || !MakeRoom() || !Insert()) {
    return StepBack();
  }
  Committed();
  Print("Records Stored in table '%s' successfully\n", table_);
  Print("Record - %d inserted successfully\n", number_);
  return true;
}

}  // namespace datacollector
