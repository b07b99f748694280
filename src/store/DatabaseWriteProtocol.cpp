#include "store/DatabaseWriteProtocol.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "ground/GenericFunctions.h"
#include "ground/KindTable.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

constexpr std::int32_t kPeriodicRecord = 0;
constexpr std::int32_t kAlarmRecord = 2;
constexpr unsigned kResponseCode = 0x99;

// The received record data; nullptr where the kind stores none for that line or meter.
using RecordDataOf = const char* (*)(const DataCollectorDBData& data, const RecordOrigin& origin);

template <SourceKind Kind>
const char* IoData(const DataCollectorDBData& data, const RecordOrigin& /*origin*/) {
  return data.i8_IoRecord[Kind].c_str();
}

// Lines 1 and 2.
const char* Rs485Data(const DataCollectorDBData& data, const RecordOrigin& origin) {
  const bool stored = origin.line < kKinds[RS485].storedLines && origin.meter < kKinds[RS485].meters;
  return stored ? data.i8_MeterRecord.At(RS485, origin.meter, origin.line).c_str() : nullptr;
}

const char* Rs232Data(const DataCollectorDBData& data, const RecordOrigin& origin) {
  const bool stored = origin.line == RS232Line1 && origin.meter < kKinds[RS232].meters;
  return stored ? data.i8_MeterRecord.At(RS232, origin.meter).c_str() : nullptr;
}

// Devices are counted from 1 here, unlike the meters of the other two kinds.
const char* SnmpData(const DataCollectorDBData& data, const RecordOrigin& origin) {
  const bool stored = origin.line == SNMPLine1 && origin.meter >= 1 && origin.meter <= kKinds[SNMP].meters;
  return stored ? data.i8_MeterRecord.At(SNMP, origin.meter - 1).c_str() : nullptr;
}

enum class Identity { Gateway, Source };             // whose site and device id stand in the text
enum class Presence { Always, Switched };            // whether the enable switch can drop the field
enum class RequestId { Passed, Parsed };             // by the caller, or left in the main state by ingestion
enum class ReadTime { Stored, RefreshedAtPacking };  // a refreshed one also replaces the stored one

struct Packing {
  SourceKind kind;
  const char* packsRecord;  // the functions' names on the trace
  const char* packsColumns;
  bool meterIndex;  // between start mark and site id
  Identity identity;
  Presence siteId;
  Presence deviceId;
  RequestId requestId;
  RecordDataOf recordData;
  ReadTime readTime;
};

// A dropped field goes with its comma, so the switches also decide how many columns the table must have.
// clang-format off
constexpr auto kPackings = KindTable<Packing>({
    {AIO, "PackAIDBWriteRecord", "PackAIDBColumnNames",
     false, Identity::Gateway, Presence::Always,   Presence::Always,   RequestId::Passed, IoData<AIO>,         ReadTime::Stored},
    {DIO, "PackDIODBWriteRecord", "PackDIODBColumnNames",
     false, Identity::Gateway, Presence::Switched, Presence::Always,   RequestId::Parsed, IoData<DIO>,         ReadTime::RefreshedAtPacking},
    {TEMPERATURE, "PackTemperatureDBWriteRecord", "PackTemperatureDBColumnNames",
     false, Identity::Gateway, Presence::Switched, Presence::Always,   RequestId::Parsed, IoData<TEMPERATURE>, ReadTime::Stored},
    {RS485, "PackRS485DBWriteRecord", "PackRS485DBColumnNames",
     true,  Identity::Gateway, Presence::Switched, Presence::Switched, RequestId::Passed, Rs485Data,           ReadTime::RefreshedAtPacking},
    {RS232, "PackRS232DBWriteRecord", "PackRS232DBColumnNames",
     false, Identity::Source,  Presence::Switched, Presence::Switched, RequestId::Passed, Rs232Data,           ReadTime::RefreshedAtPacking},
    {SNMP, "PackSNMPDBWriteRecord", "PackSNMPDBColumnNames",
     false, Identity::Source,  Presence::Always,   Presence::Always,   RequestId::Passed, SnmpData,            ReadTime::Stored},
});
// clang-format on

// Only the I/O kinds have a place for a parsed request id.
static_assert(std::all_of(kPackings.begin() + kIoKinds, kPackings.end(),
                          [](const Packing& packing) { return packing.requestId == RequestId::Passed; }));

// A record text under construction.
class RecordPacker {
 public:
  RecordPacker(RecordText& text, const char* kindWord) : text_(text), kindWord_(kindWord) { text_.Clear(); }

  // Adds a field of at most 511 characters, its quotes and comma included.
  template <typename... Values>
  void Field(const char* format, Values... values) {
    FixedText<511> field;
    if (!field.Format(format, values...)) {
      PrintError("A field of the %s record is cut to %zu characters\n", kindWord_, FixedText<511>::kCapacity);
    }
    Append(field.view());
  }

  void Append(std::string_view characters) { fits_ = text_.Append(characters) && fits_; }

  void Finish() const {
    if (!fits_) {
      PrintError("The %s record is cut to %zu characters\n", kindWord_, RecordText::kCapacity);
    }
  }

 private:
  RecordText& text_;
  const char* kindWord_;
  bool fits_ = true;
};

std::int32_t RecordTypeOf(std::int32_t alarmFlag) { return alarmFlag == 1 ? kAlarmRecord : kPeriodicRecord; }

std::int32_t TakeRecordType(std::int32_t& alarmFlag) {
  const std::int32_t type = RecordTypeOf(alarmFlag);
  if (type == kAlarmRecord) {
    alarmFlag = 0;
  }
  return type;
}

bool IsPresent(Presence presence, std::int32_t enable) { return presence == Presence::Always || enable == 1; }

void PackIdentity(RecordPacker& packer, const Packing& packing, const struct PackingIdentity& gateway,
                  const RecordOrigin& origin) {
  const bool own = packing.identity == Identity::Gateway;
  if (IsPresent(packing.siteId, gateway.gi32_SiteIDEnable)) {
    packer.Field("\"%s\",", own ? gateway.gi8_SiteID.c_str() : TextOrEmpty(origin.siteId));
  }
  if (IsPresent(packing.deviceId, gateway.gi32_DeviceIDEnable)) {
    packer.Field("\"%s\",", own ? gateway.gi8_DeviceID.c_str() : TextOrEmpty(origin.deviceId));
  }
}

std::int32_t RequestIdOf(const DataCollectorMainStructure& main, const Packing& packing,
                         const RecordOrigin& origin) {
  return packing.requestId == RequestId::Parsed ? main.i32_ParsedReqId[packing.kind] : origin.requestId;
}

void PackRecordData(RecordPacker& packer, const char* recordData) {
  if (recordData != nullptr) {
    packer.Append(recordData);
    packer.Append(",");
  }
}

void PackReadTime(RecordPacker& packer, const Packing& packing, TimeStampText& stored,
                  std::uint16_t sinceEpoch) {
  if (packing.readTime == ReadTime::RefreshedAtPacking) {
    GetReadTimeStamp(stored, sinceEpoch);
  }
  packer.Field("\"%s\",", stored.c_str());
}

// Reads the six pieces of "YYYY-MM-DD hh:mm:ss"; false when one is missing.
bool ReadBrokenDownTime(std::string_view text, std::tm& time) {
  constexpr std::string_view kSeparators = "-- ::";
  constexpr std::int32_t kFarthest = 1000000000;  // so that the year can be counted from 1900
  std::array<int, kSeparators.size() + 1> pieces{};
  for (std::size_t piece = 0; piece < pieces.size(); ++piece) {
    const bool last = piece == kSeparators.size();
    const std::size_t length = last ? text.size() : text.find(kSeparators[piece]);
    if (length == 0 || length == std::string_view::npos) {
      return false;
    }
    pieces[piece] = std::clamp(DecimalValue(text.substr(0, length)), -kFarthest, kFarthest);
    text.remove_prefix(last ? length : length + 1);
  }
  time.tm_year = pieces[0] - 1900;
  time.tm_mon = pieces[1] - 1;
  time.tm_mday = pieces[2];
  time.tm_hour = pieces[3];
  time.tm_min = pieces[4];
  time.tm_sec = pieces[5];
  time.tm_isdst = -1;
  return true;
}

}  // namespace

ReceivedRecord ReceivedRecordOf(const DataCollectorMainStructure& main, SourceKind kind,
                                const RecordOrigin& origin) {
  const Packing& packing = kPackings[kind];
  return {.data = TextOrEmpty(packing.recordData(main.DataCollectorDBData, origin)),
          .recordType = RecordTypeOf(main.i32_AlarmFlag[kind]),
          .requestId = RequestIdOf(main, packing, origin),
          .hasMeterIndex = packing.meterIndex};
}

void PackRecord(DataCollectorMainStructure& main, SourceKind kind, RecordText& out,
                const RecordOrigin& origin) {
  const Packing& packing = kPackings[kind];
  const FunctionTrace trace(packing.packsRecord);
  DataCollectorDBData& data = main.DataCollectorDBData;
  RecordPacker packer(data.i8_DCDBRecord[kind], kKindWord[kind]);
  packer.Field("\"%s\",", main.PackingIdentity.gi8_OverallRecordStartMark.c_str());
  if (packing.meterIndex) {
    packer.Field("\"%d\",", static_cast<int>(origin.meter));
  }
  PackIdentity(packer, packing, main.PackingIdentity, origin);
  packer.Field("%d,", TakeRecordType(main.i32_AlarmFlag[kind]));
  packer.Field("%d,", RequestIdOf(main, packing, origin));
  packer.Field("\"%s_%s\",", TextOrEmpty(main.OruVer), TextOrEmpty(main.SoftwareVer));
  packer.Field("%02x,", kResponseCode);
  packer.Field("%d,", static_cast<int>(data.ui16_DBRecordNumber[kind]));
  PackRecordData(packer, packing.recordData(data, origin));
  PackReadTime(packer, packing, data.i8_ReadTimeStamp[kind], main.ui16_DCDBReadTimeStampInSecSinceEpoch);
  packer.Field("\"%s\"", main.PackingIdentity.gi8_OverallRecordEndMark.c_str());
  packer.Finish();
  out = data.i8_DCDBRecord[kind];
  Print("i8_DatabaseBuf %s: |%s|\n", kKindWord[kind], out.c_str());
}

void PackColumnNames(const DataCollectorMainStructure& main, SourceKind kind, ColumnListText& out) {
  const FunctionTrace trace(kPackings[kind].packsColumns);
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  const std::size_t count = std::min<std::size_t>(config.ui16_NoOfColumns, kMaxColumns);
  bool fits = true;
  for (std::size_t column = 0; column < count; ++column) {
    fits = (column == 0 || out.Append(",")) && fits;
    fits = out.Append(config.i8_ColumnNames[column].view()) && fits;
  }
  if (!fits) {
    PrintError("The %s column list is cut to %zu characters\n", kKindWord[kind], ColumnListText::kCapacity);
  }
  Print("Concatenated Column String %s = %s\n", kKindWord[kind], out.c_str());
}

void PackAIDBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin) {
  PackRecord(main, AIO, out, origin);
}
void PackDIODBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin) {
  PackRecord(main, DIO, out, origin);
}
void PackTemperatureDBWriteRecord(DataCollectorMainStructure& main, RecordText& out,
                                  const RecordOrigin& origin) {
  PackRecord(main, TEMPERATURE, out, origin);
}
void PackRS485DBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin) {
  PackRecord(main, RS485, out, origin);
}
void PackRS232DBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin) {
  PackRecord(main, RS232, out, origin);
}
void PackSNMPDBWriteRecord(DataCollectorMainStructure& main, RecordText& out, const RecordOrigin& origin) {
  PackRecord(main, SNMP, out, origin);
}

void PackAIDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, AIO, out);
}
void PackDIODBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, DIO, out);
}
void PackTemperatureDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, TEMPERATURE, out);
}
void PackRS485DBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, RS485, out);
}
void PackRS232DBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, RS232, out);
}
void PackSNMPDBColumnNames(const DataCollectorMainStructure& main, ColumnListText& out) {
  PackColumnNames(main, SNMP, out);
}

std::int16_t ConvertHtimeToSecSinceEpoch(char* text, char* out, std::size_t size) {
  const FunctionTrace trace(__func__);
  *std::remove(text, text + std::strlen(text), '"') = '\0';
  std::tm local{};
  const std::time_t seconds = ReadBrokenDownTime(text, local) ? std::mktime(&local) : -1;
  if (seconds == -1) {
    return -1;
  }
  std::snprintf(out, size, "%lld", static_cast<long long>(seconds));
  std::tm check{};
  ::localtime_r(&seconds, &check);
  Print("crosscheck time after conversion: %04d-%02d-%02d %02d:%02d:%02d\n", check.tm_year + 1900,
        check.tm_mon + 1, check.tm_mday, check.tm_hour, check.tm_min, check.tm_sec);
  return 0;
}

}  // namespace datacollector
