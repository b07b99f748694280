#include "store/ReadRecords.h"

#include <array>
#include <optional>

#include "app/ground/FileLogger.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/Trace.h"
#include "store/CreateDB.h"
#include "store/Database.h"
#include "store/Packet.h"

namespace datacollector {
namespace {

struct Reading {
  const char* word;                // stands for the kind in the texts below
  std::size_t topic;               // entry of the HTTP send topics; entry 5 belongs to no kind
  std::int32_t openFailureResult;  // 0: a database that can't be opened counts as "nothing to send"
  WaitUnit unit;                   // of the wait between two attempts
  bool meter;  // logs, keeps track of what was handed over and reports a refused packet to the caller
};

constexpr std::array<Reading, kSourceKinds> kReadings = {{
    {kKindFunctionWord[AIO], 0, 0, WaitUnit::Seconds, false},
    {kKindFunctionWord[DIO], 1, -1, WaitUnit::Seconds, false},
    {kKindFunctionWord[TEMPERATURE], 2, -1, WaitUnit::Seconds, false},
    {kKindFunctionWord[RS485], 3, -1, WaitUnit::Milliseconds, true},
    {kKindFunctionWord[RS232], 4, -1, WaitUnit::Milliseconds, true},
    {kKindFunctionWord[SNMP], 6, -1, WaitUnit::Milliseconds, true},
}};

constexpr const char* kOpenFailure = "Can not connect database '%s'\nError Message: %s\n";
constexpr const char* kReadFailure = "can not read the record from table %s\nError Message:%s\n";
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
  UnsentReader(DataCollectorMainStructure& main, SourceKind kind, RecordHandOver& handOver,
               const char* function)
      : main_(main),
        kind_(kind),
        handOver_(handOver),
        function_(function),
        reading_(kReadings[kind]),
        params_(main.DataCollectorDBParams[kind]) {}

  std::int32_t ReadAndPublish();

 private:
  bool BuildQuery();
  bool Open();
  bool Query();
  std::optional<std::int32_t> RecordNumber() const;
  void PrintValues() const;
  std::int32_t HandOver(std::int32_t recordNumber);
  void NoteMeterHandOver(std::int32_t recordNumber, bool published);

  DataCollectorMainStructure& main_;
  const SourceKind kind_;
  RecordHandOver& handOver_;
  const char* const function_;
  const Reading& reading_;
  DatabaseParams& params_;

  Database database_;
  QueryText query_{};
  FoundRow row_;
};

bool UnsentReader::BuildQuery() {
  PrintLine("reading the records from table which are not sent");
  if (!BuildUnsentQuery(params_, kind_, query_)) {
    PrintError("The query for unsent %s records is longer than %zu characters and is not run\n",
               reading_.word, QueryText::kCapacity);
    return false;
  }
  if (reading_.meter) {
    Print("Query Prepared after register loop for EMeter %s DataBase = %s\n", reading_.word, query_.c_str());
  }
  return true;
}

bool UnsentReader::Open() {
  const char* path = params_.i8_DatabaseName.c_str();
  if (database_.Open({path, CreatorOf(kind_), nullptr})) {
    return true;
  }
  PrintError(kOpenFailure, path, database_.ErrorText());
  if (reading_.meter) {
    WriteLog(kOpenFailure, path, database_.ErrorText());
  }
  PrintLine("Exiting Context");
  return false;
}

bool UnsentReader::Query() {
  const RetryRule rule = {
      .texts = {.failure = kReadFailure,
                .failureLog = reading_.meter ? kReadFailure : nullptr,
                .retry = "wait for interval of '%d' seconds, then retry reading database again\n",
                .retryLog = nullptr,
                .missingTableLog = nullptr},
      .path = params_.i8_DatabaseName.c_str(),
      .table = params_.i8_TableName.c_str(),
      .maxAttempts = params_.ui16_MaxReadTry,
      .interval = main_.DataCollectorDBConfig[kind_].i32_DatabaseAccessWaitInterval,
      .unit = reading_.unit,
      .creator = CreatorOf(kind_),
      .function = function_};
  const bool done =
      TryRepeatedly(database_, rule, [&] { return database_.Execute(query_.c_str(), OnUnsentRow, &row_); });
  database_.Close();
  return done;
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
        reading_.word, slot - 1);
  }
  const auto index = static_cast<std::size_t>(slot);
  if (slot < 0 || index >= Packet::kMaxValues) {
    return std::nullopt;
  }
  return index < row_.packet.Count() ? LeadingNumber(row_.packet.Value(index).data()) : 0;
}

void UnsentReader::PrintValues() const {
  for (std::size_t index = 0; index < row_.packet.Count(); ++index) {
    const std::string_view value = row_.packet.Value(index);
    Print("i8_ColumnValue[%zu] = %.*s\n", index, static_cast<int>(value.size()), value.data());
  }
}

void UnsentReader::NoteMeterHandOver(std::int32_t recordNumber, bool published) {
  if (published) {
    params_.HTTPSenderRecordInformation.i32_LastRecordSentNumber = recordNumber;
    WriteLog("%sDBRecord number %d published successfully\n", reading_.word, recordNumber);
  }
  TimeStampText& stamp = main_.PublishTimeStamps.published[kind_];
  GetTimeStamp(stamp);
  Print("Publish Time Stamp Start: %s\n", stamp.c_str());
  WriteLog(
      "##################################Published %s data to HTTP sender. Wait for publish status. "
      "Stop sending next record###################################### \n",
      reading_.word);
}

// An I/O kind counts every packet as sent: the retry timer sends a refused one again.
std::int32_t UnsentReader::HandOver(std::int32_t recordNumber) {
  handOver_.Announce(recordNumber);
  if (reading_.meter) {
    params_.HTTPSenderRecordInformation.i32_RecordNumber = recordNumber;
  }
  const auto& topic = main_.DataCollectorMqttTopics.i8_HTTPSendPublishTopics[reading_.topic];
  Print("%sDBRecord number %d publishing", reading_.word, recordNumber);
  const bool published = handOver_.Publish(topic.c_str(), row_.packet.Text());
  if (!published) {
    handOver_.Withdraw();
  }
  if (published || !reading_.meter) {
    Print("%sDBRecord number %d published successfully", reading_.word, recordNumber);
  }
  if (reading_.meter) {
    NoteMeterHandOver(recordNumber, published);
  }
  return published || !reading_.meter ? recordNumber : -1;
}

std::int32_t UnsentReader::ReadAndPublish() {
  if (!BuildQuery()) {
    return -1;
  }
  if (!Open()) {
    return reading_.openFailureResult;
  }
  if (!Query()) {
    PrintLine(kNotRead);
    if (reading_.meter) {
      WriteLog("%s", kNotRead);
    }
    return -1;
  }
  PrintValues();
  const std::optional<std::int32_t> recordNumber = RecordNumber();
  if (!row_.found) {
    Print("There are no %sDBrecords which are need to be read and publish\n", reading_.word);
    if (reading_.meter) {
      WriteLog("There are no %sDBRecord which are need to be read and publish\n", reading_.word);
    }
    return 0;
  }
  if (!row_.taken) {
    PrintError("An unsent %s record does not fit into a packet of %zu values and is not published\n",
               reading_.word, Packet::kMaxValues);
    return -1;
  }
  if (!recordNumber) {
    PrintError("An unsent %s record has no record number at the configured place and is not published\n",
               reading_.word);
    return -1;
  }
  return HandOver(*recordNumber);
}

std::int32_t ReadRecordAndPublish(DataCollectorMainStructure& main, SourceKind kind, RecordHandOver& handOver,
                                  const char* function) {
  const FunctionTrace trace(function);
  return UnsentReader(main, kind, handOver, function).ReadAndPublish();
}

}  // namespace

std::int32_t ReadAIDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, AIO, handOver, __func__);
}
std::int32_t ReadDIODCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, DIO, handOver, __func__);
}
std::int32_t ReadTemperatureDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, TEMPERATURE, handOver, __func__);
}
std::int32_t ReadRS485DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, RS485, handOver, __func__);
}
std::int32_t ReadRS232DCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, RS232, handOver, __func__);
}
std::int32_t ReadSNMPDCDBRecordAndPublish(DataCollectorMainStructure& main, RecordHandOver& handOver) {
  return ReadRecordAndPublish(main, SNMP, handOver, __func__);
}

}  // namespace datacollector
