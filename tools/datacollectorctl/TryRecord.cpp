#include "TryRecord.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

#include "ground/GenericFunctions.h"
#include "ground/KindShape.h"
#include "ground/Numbers.h"
#include "store/DatabaseWriteProtocol.h"
#include "store/RecordData.h"

namespace datacollector::ctl {
namespace {

// A record number that nothing else in an empty record is equal to.
constexpr std::uint16_t kTryNumber = 54321;

// Where a kind's payload has what ingestion takes out of it. Places count from 1, behind the meter index.
struct TryRow {
  SourceKind kind;
  std::size_t requestIdPlace;
  std::size_t linePlace;  // 0: an I/O kind
};
constexpr auto kRows = KindTable<TryRow>({
    {AIO, 4, 0},
    {DIO, 4, 0},
    {TEMPERATURE, 4, 0},
    {RS485, 3, 4},
    {RS232, 4, 5},
    {SNMP, 3, 4},
});

// Fields as the daemon's payload has them: every comma splits. A record text's commas inside quotes don't.
std::vector<std::string> Split(const std::string& text, bool quotes) {
  std::vector<std::string> fields(1);
  char open = '\0';
  for (const char character : text) {
    if (quotes && (character == '"' || character == '\'') && (open == '\0' || open == character)) {
      open = open == '\0' ? character : '\0';
    }
    if (character == ',' && open == '\0') {
      fields.emplace_back();
    } else {
      fields.back() += character;
    }
  }
  return fields;
}

std::string FieldAt(const std::vector<std::string>& fields, std::size_t place) {
  return place >= 1 && place <= fields.size() ? fields[place - 1] : std::string();
}

std::string Bare(std::string field) {
  field.erase(0, std::min(field.find_first_not_of(" \""), field.size()));
  field.erase(field.find_last_not_of(" \"") + 1);
  return field;
}

// Puts a meter kind's record in its slot; false when its index or line is none.
bool Place(DataCollectorMainStructure& main, SourceKind kind, const std::string& record, std::size_t line,
           std::size_t meter) {
  const KindShape& shape = kKinds[kind];
  if (line >= shape.storedLines || meter >= shape.meters) {
    return false;
  }
  main.DataCollectorDBData.i8_MeterRecord.At(kind, meter, line).Assign(record);
  return true;
}

}  // namespace

TriedRecord TryRecord(DataCollectorMainStructure& main, SourceKind kind, const std::string& payload) {
  const TryRow& row = kRows[kind];
  TriedRecord tried;
  RecordOrigin origin;
  std::string record = payload.substr(0, payload.find('\0'));
  std::string siteId;
  std::string deviceId;
  GetReadTimeStamp(main.DataCollectorDBData.i8_ReadTimeStamp[kind],
                   main.ui16_DCDBReadTimeStampInSecSinceEpoch);
  if (row.linePlace == 0) {
    main.i32_ParsedReqId[kind] = DecimalValue(FieldAt(Split(record, false), row.requestIdPlace));
    origin.requestId = main.i32_ParsedReqId[kind];
    main.DataCollectorDBData.i8_IoRecord[kind].Assign(record);
  } else {
    const long meter = std::strtol(record.c_str(), nullptr, 10);
    const std::size_t comma = record.find(',');
    record.erase(0, comma == std::string::npos ? comma : comma + 1);
    const std::vector<std::string> fields = Split(record, false);
    const long line = std::strtol(FieldAt(fields, row.linePlace).c_str(), nullptr, 10);
    siteId = Bare(FieldAt(fields, 1));
    deviceId = Bare(FieldAt(fields, 2));
    origin = {static_cast<std::size_t>(line) - 1, static_cast<std::size_t>(meter) - 1,
              DecimalValue(FieldAt(fields, row.requestIdPlace)), siteId.c_str(), deviceId.c_str()};
    if (!Place(main, kind, record, origin.line, origin.meter)) {
      tried.refusal = "meter index " + std::to_string(meter) + " must be 1 to " +
                      std::to_string(kKinds[kind].meters) + ", line " + std::to_string(line) + " 1 to " +
                      std::to_string(kKinds[kind].storedLines);
      return tried;
    }
    origin.meter += kind == SNMP ? 1 : 0;
  }
  const auto text = std::make_unique<RecordText>();
  {
    const Silence silence;
    PackRecord(main, kind, *text, origin);
  }
  tried.fields = Split(text->c_str(), true);
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  for (std::size_t index = 0; index < config.ui16_NoOfColumns; ++index) {
    tried.columns.emplace_back(config.i8_ColumnNames[index].view());
  }
  const std::optional<std::size_t> values = CountLiterals(text->view());
  if (!values) {
    tried.refusal = "the record is no list of numbers, quoted texts and NULL";
  } else if (*values != tried.columns.size()) {
    tried.refusal =
        std::to_string(*values) + " values for " + std::to_string(tried.columns.size()) + " columns";
  }
  return tried;
}

std::size_t PlaceOfRecordNumber(DataCollectorMainStructure& main, SourceKind kind) {
  std::uint16_t& number = main.DataCollectorDBData.ui16_DBRecordNumber[kind];
  const std::uint16_t before = number;
  number = kTryNumber;
  const TriedRecord tried = TryRecord(main, kind, kRows[kind].linePlace == 0 ? "0" : "1,0,0,0,1,1");
  number = before;
  const auto found = std::ranges::find(tried.fields, std::to_string(kTryNumber));
  return static_cast<std::size_t>(found - tried.fields.begin());
}

}  // namespace datacollector::ctl
