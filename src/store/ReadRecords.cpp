#include "store/ReadRecords.h"

#include <optional>

#include "ground/FileLogger.h"
#include "ground/GenericFunctions.h"
#include "ground/KindTable.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"
#include "store/Packet.h"
#include "store/StoreAccess.h"
#include "store/UpdateRecord.h"

namespace datacollector {
namespace {

struct Reading {
  SourceKind kind;
  const char* function;
  std::size_t topic;               // entry of the HTTP send topics; entry 5 belongs to no kind
  std::int32_t openFailureResult;  // 0: a database that can't be opened counts as "nothing to send"
  WaitUnit unit;                   // of the wait between two attempts
  bool meter;  // logs, keeps track of what was handed over and reports a refused packet to the caller
};

constexpr auto kReadings = KindTable<Reading>({
    {AIO, "ReadAIDCDBRecordAndPublish", 0, 0, WaitUnit::Seconds, false},
    {DIO, "ReadDIODCDBRecordAndPublish", 1, -1, WaitUnit::Seconds, false},
    {TEMPERATURE, "ReadTemperatureDCDBRecordAndPublish", 2, -1, WaitUnit::Seconds, false},
    {RS485, "ReadRS485DCDBRecordAndPublish", 3, -1, WaitUnit::Milliseconds, true},
    {RS232, "ReadRS232DCDBRecordAndPublish", 4, -1, WaitUnit::Milliseconds, true},
    {SNMP, "ReadSNMPDCDBRecordAndPublish", 6, -1, WaitUnit::Milliseconds, true},
});

constexpr const char* kOpenFailure = "Can not connect database '%s'\nError Message: %s\n";
constexpr const char* kReadFailure = "can not read the record from table %s\nError Message:%s\n";
// How often a record is looked for before one goes out that may have been confirmed since it was read. A
// storm of confirmations must not hold a kind up for as long as it lasts.
constexpr int kLooks = 8;

constexpr const char* kNotRead = "Reading record which is not sent is failure";

// What a query found. A row that can't be taken is found all the same.
struct FoundRow {
  Packet packet;
  bool found = false;
  bool taken = false;
};

int OnUnsentRow(void* context, int columns, char** values, char** /*names*/) {
  if (columns >= 2) {
    auto& row = *static_cast<FoundRow*>(context);
    row.found = true;
    row.taken = row.packet.Take(static_cast<std::size_t>(columns), values);
  }
  return 0;
}

// The reading of one record and its hand-over.
class UnsentReader {
 public:
  UnsentReader(DataCollectorMainStructure& main, SourceKind kind, RecordHandOver& handOver)
      : main_(main),
        kind_(kind),
        handOver_(handOver),
        reading_(kReadings[kind]),
        word_(kKindFunctionWord[kind]),
        params_(main.DataCollectorDBParams[kind]) {}

  std::int32_t ReadAndPublish();

 private:
  bool BuildQuery();
  std::optional<std::int32_t> FindAndAnnounce();
  bool IsCurrent() const { return UpdatesTried(kind_) == updatesBefore_; }
  bool Open(StoreAccess& access) const;
  bool Query(StoreAccess& access);
  std::optional<std::int32_t> Find();
  std::optional<std::int32_t> RecordNumber() const;
  void PrintValues() const;
  void Announce(std::int32_t recordNumber);
  std::int32_t HandOver();
  void NoteMeterHandOver(bool published);

  DataCollectorMainStructure& main_;
  const SourceKind kind_;
  RecordHandOver& handOver_;
  const Reading& reading_;
  const char* const word_;  // stands for the kind in the texts below
  DatabaseParams& params_;

  QueryText query_{};
  FoundRow row_;
  std::uint32_t updatesBefore_ = 0;  // the row was read
  std::int32_t recordNumber_ = 0;    // that was announced
};

bool UnsentReader::BuildQuery() {
  PrintLine("reading the records from table which are not sent");
  if (!BuildUnsentQuery(params_, kind_, query_)) {
    PrintError("The query for unsent %s records is longer than %zu characters and is not run\n", word_,
               QueryText::kCapacity);
    return false;
  }
  if (reading_.meter) {
    Print("Query Prepared after register loop for EMeter %s DataBase = %s\n", word_, query_.c_str());
  }
  return true;
}

bool UnsentReader::Open(StoreAccess& access) const {
  const char* path = params_.i8_DatabaseName.c_str();
  if (access.Open()) {
    return true;
  }
  PrintError(kOpenFailure, path, access.ErrorText());
  if (reading_.meter) {
    WriteLog(kOpenFailure, path, access.ErrorText());
  }
  PrintLine("Exiting Context");
  return false;
}

bool UnsentReader::Query(StoreAccess& access) {
  const RetryRule rule = {
      .texts = {.failure = kReadFailure,
                .failureLog = reading_.meter ? kReadFailure : nullptr,
                .retry = "wait for interval of '%d' seconds, then retry reading database again\n",
                .retryLog = nullptr,
                .missingTableLog = nullptr},
      .table = params_.i8_TableName.c_str(),
      .maxAttempts = params_.ui16_MaxReadTry,
      .interval = main_.DataCollectorDBConfig[kind_].i32_DatabaseAccessWaitInterval,
      .unit = reading_.unit,
      .makesMissingTable = true,
      .function = reading_.function};
  return access.TryRepeatedly(rule, [&] {
    row_ = {};
    updatesBefore_ = UpdatesTried(kind_);
    return access.Connection().Query(query_.c_str(), OnUnsentRow, &row_);
  });
}

// The turn at the database ends with the row found: the hand-over takes its time, and the confirmation wants
// its turn.
std::optional<std::int32_t> UnsentReader::Find() {
  StoreAccess access(kind_, params_.i8_DatabaseName.c_str());
  if (!Open(access)) {
    return reading_.openFailureResult;
  }
  if (Query(access)) {
    return std::nullopt;
  }
  PrintLine(kNotRead);
  if (reading_.meter) {
    WriteLog("%s", kNotRead);
  }
  return -1;
}

// Nothing when the configured place is outside any row. A place that only this row is too short for counts as
// empty: the record goes out as number 0, so that its values arrive all the same. The place of a meter kind
// is zero-based, that of an I/O kind one-based.
std::optional<std::int32_t> UnsentReader::RecordNumber() const {
  std::int32_t slot = params_.ui16_RecordNumberIndex - 1;
  if (reading_.meter) {
    slot = params_.i16_RIDClmnIndex;
    Print(
        "psDataCollectorMainStructure->DataCollectorDBParams.DataCollector%sDBParams.i16_RIDClmnIndex- 1 : "
        "%d\n",
        word_, slot - 1);
  }
  const auto index = static_cast<std::size_t>(slot);
  if (slot < 0 || index >= Packet::kMaxValues) {
    return std::nullopt;
  }
  return index < row_.packet.Count() ? DecimalValue(row_.packet.Value(index)) : 0;
}

void UnsentReader::PrintValues() const {
  for (std::size_t index = 0; index < row_.packet.Count(); ++index) {
    const std::string_view value = row_.packet.Value(index);
    Print("i8_ColumnValue[%zu] = %.*s\n", index, static_cast<int>(value.size()), value.data());
  }
}

void UnsentReader::NoteMeterHandOver(bool published) {
  if (published) {
    params_.HTTPSenderRecordInformation.i32_LastRecordSentNumber = recordNumber_;
    WriteLog("%sDBRecord number %d published successfully\n", word_, recordNumber_);
  }
  TimeStampText& stamp = main_.PublishTimeStamps.published[kind_];
  GetTimeStamp(stamp);
  Print("Publish Time Stamp Start: %s\n", stamp.c_str());
  WriteLog(
      "##################################Published %s data to HTTP sender. Wait for publish status. "
      "Stop sending next record###################################### \n",
      word_);
}

// The trace may be held up by its reader, so its line comes before the announcement: nothing stands between
// that and the packet.
void UnsentReader::Announce(std::int32_t recordNumber) {
  recordNumber_ = recordNumber;
  if (reading_.meter) {
    params_.HTTPSenderRecordInformation.i32_RecordNumber = recordNumber;
  }
  Print("%sDBRecord number %d publishing", word_, recordNumber);
  handOver_.Announce(recordNumber);
}

// An I/O kind counts every packet as sent: the retry timer sends a refused one again.
std::int32_t UnsentReader::HandOver() {
  const auto& topic = main_.DataCollectorMqttTopics.i8_HTTPSendPublishTopics[reading_.topic];
  const bool published = handOver_.Publish(topic.c_str(), row_.packet.Text());
  if (!published) {
    handOver_.Withdraw();
  }
  if (published || !reading_.meter) {
    Print("%sDBRecord number %d published successfully", word_, recordNumber_);
  }
  if (reading_.meter) {
    NoteMeterHandOver(published);
  }
  return published || !reading_.meter ? recordNumber_ : -1;
}

// The result where there is nothing to hand over.
std::optional<std::int32_t> UnsentReader::FindAndAnnounce() {
  if (const std::optional<std::int32_t> failure = Find()) {
    return failure;
  }
  PrintValues();
  const std::optional<std::int32_t> recordNumber = RecordNumber();
  if (!row_.found) {
    Print("There are no %sDBrecords which are need to be read and publish\n", word_);
    if (reading_.meter) {
      WriteLog("There are no %sDBRecord which are need to be read and publish\n", word_);
    }
    return 0;
  }
  if (!row_.taken) {
    PrintError("An unsent %s record does not fit into a packet of %zu values and is not published\n", word_,
               Packet::kMaxValues);
    return -1;
  }
  if (!recordNumber) {
    PrintError("An unsent %s record has no record number at the configured place and is not published\n",
               word_);
    return -1;
  }
  Announce(*recordNumber);
  return std::nullopt;
}

// A retry may read its record just before the confirmation is written into the row. Then the record is not
// handed over once more: the next one is looked for.
std::int32_t UnsentReader::ReadAndPublish() {
  if (!BuildQuery()) {
    return -1;
  }
  std::optional<std::int32_t> nothing = FindAndAnnounce();
  for (int look = 1; look < kLooks && !nothing && !IsCurrent(); ++look) {
    handOver_.Recall();
    nothing = FindAndAnnounce();
  }
  return nothing ? *nothing : HandOver();
}

}  // namespace

std::int32_t ReadRecordAndPublish(DataCollectorMainStructure& main, SourceKind kind,
                                  RecordHandOver& handOver) {
  const FunctionTrace trace(kReadings[kind].function);
  return UnsentReader(main, kind, handOver).ReadAndPublish();
}

std::int32_t ReadAIDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, AIO, handOver);
}
std::int32_t ReadDIODCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, DIO, handOver);
}
std::int32_t ReadTemperatureDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, TEMPERATURE, handOver);
}
std::int32_t ReadRS485DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, RS485, handOver);
}
std::int32_t ReadRS232DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, RS232, handOver);
}
std::int32_t ReadSNMPDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, SNMP, handOver);
}

}  // namespace datacollector
