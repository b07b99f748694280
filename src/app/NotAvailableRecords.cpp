#include "app/NotAvailableRecords.h"

#include <cstdint>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

// Of an I/O kind, %d: request counter. The temperature record carries the DIO module's model, because the
// same module reads both.
constexpr const char* kAioText = R"("<","M417",0,%d,99,99.99,99.99,"0",0,"0",">")";
constexpr const char* kDioModuleText = R"("<","AI2DI2DO2_VT480",0,%d,99,9,9,"0",0,"0",">")";

struct NotAvailable {
  SourceKind kind;
  const char* function;  // nullptr: the kind has no such record
  const char* ioText;
  std::size_t meterRoom;  // characters of a meter's text
  bool requestsInOneRow;  // the request number stands at meter plus line
};

constexpr auto kNotAvailable = KindTable<NotAvailable>({
    {AIO, "PackAIONaData", kAioText, 0, false},
    {DIO, "PackDIONaData", kDioModuleText, 0, false},
    {TEMPERATURE, "PackTemperatureNaData", kDioModuleText, 0, false},
    {RS485, "PackRS485NaData", nullptr, 3999, false},
    {RS232, "PackRS232NaData", nullptr, 199, true},
    {SNMP, nullptr, nullptr, 0, false},
});

constexpr const char* kMeterTail = R"("0","0","00:00:00",">")";

void PackIo(const NotAvailable& row) {
  const char* word = kKindWord[row.kind];
  IoRecordText record{};
  record.Format(row.ioText, AppDataReqFlags.At(row.kind).gi32_ReqId.load());
  Print("i8_TempStr = |%s|\n", record.c_str());
  IoRecordText& buffer = gMainState.DataCollectorDBData.i8_IoRecord[row.kind];
  buffer = record;
  Print("na i8_%sRecord = |%s|\n", word, buffer.c_str());
  Print("na i8_%sRecord Length = <%zu>\n", word, buffer.view().size());
}

using MeterText = FixedText<3999>;

std::int32_t RequestIdOf(const NotAvailable& row, std::size_t line, std::size_t meter) {
  if (!row.requestsInOneRow) {
    return AppDataReqFlags.At(row.kind, meter, line).gi32_ReqId;
  }
  const std::size_t place = meter + line;
  return place < kKinds[row.kind].meters ? AppDataReqFlags.At(row.kind, place).gi32_ReqId.load() : 0;
}

// Head, one failure text per register, tail. It has no start mark.
MeterText BuildMeterText(const NotAvailable& row, std::size_t line, std::size_t meter) {
  const DataCollectorSiteConfig& site = gMainState.DataCollectorSiteConfig;
  const std::int32_t requestId = RequestIdOf(row, line, meter);
  const char* missing = TextOrEmpty(site.FailureDataCharacter);
  MeterText text{};
  if (site.DeviceIDEnable == 1) {
    text.Format(R"("%s",%d,%d,%zu,%zu,"%s","%s","%s","%s","0",)", TextOrEmpty(site.DeviceID), 0, requestId,
                line + 1, meter + 1, missing, missing, missing, missing);
  } else {
    text.Format(R"(%d,%d,%zu,%zu,"%s","%s","%s","%s","0",)", 0, requestId, line + 1, meter + 1, missing,
                missing, missing, missing);
  }
  text.characters[row.meterRoom] = '\0';
  Print("Before Loop = %s\n", text.c_str());
  MeterText value{};
  value.Format("\"%s\",", missing);
  bool fits = true;
  for (std::int32_t index = 0; fits && index < site.Maxnumberofregister; ++index) {
    fits = text.Append(value.view());
  }
  text.Append(kMeterTail);
  text.characters[row.meterRoom] = '\0';
  return text;
}

void PackMeter(const NotAvailable& row, std::size_t line, std::size_t meter) {
  const char* word = kKindWord[row.kind];
  Print(" \n\n\n ************************ Line ID = %zu, Meter ID = %zu ************************\n\n",
        line + 1, meter + 1);
  const MeterText text = BuildMeterText(row, line, meter);
  Print("Concatenated %s String=%s\n", word, text.c_str());
  if (line < kKinds[row.kind].storedLines) {
    MeterRecordText& buffer = gMainState.DataCollectorDBData.i8_MeterRecord.At(row.kind, meter, line);
    buffer.Assign(text.view());
    Print("na i8_%sRecord = |%s|\n", word, buffer.c_str());
    Print("na i8_%sRecord Length = <%zu>\n", word, buffer.view().size());
  }
}

}  // namespace

void PackNotAvailable(SourceKind kind, std::size_t line, std::size_t meter) {
  const NotAvailable& row = kNotAvailable[kind];
  if (row.function == nullptr) {
    return;
  }
  const FunctionTrace trace(row.function);
  Print(" \n\n\n ************************ Entering %s ************************\n", row.function);
  if (IsMeterKind(kind)) {
    PackMeter(row, line, meter);
  } else {
    PackIo(row);
  }
}

void PackAIONaData() { PackNotAvailable(AIO); }
void PackDIONaData() { PackNotAvailable(DIO); }
void PackTemperatureNaData() { PackNotAvailable(TEMPERATURE); }
void PackRS485NaData(std::size_t line, std::size_t meter) { PackNotAvailable(RS485, line, meter); }
void PackRS232NaData(std::size_t line, std::size_t meter) { PackNotAvailable(RS232, line, meter); }

}  // namespace datacollector
