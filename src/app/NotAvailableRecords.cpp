#include "app/NotAvailableRecords.h"

#include <array>
#include <cstdint>

#include "app/ground/Flags.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

// By kind, %d: request counter. The temperature record carries the DIO module's model, because the same
// module reads both.
constexpr const char* kDioModuleText = R"("<","AI2DI2DO2_VT480",0,%d,99,9,9,"0",0,"0",">")";
constexpr std::array<const char*, kIoKinds> kIoTexts = {R"("<","M417",0,%d,99,99.99,99.99,"0",0,"0",">")",
                                                        kDioModuleText, kDioModuleText};

constexpr const char* kMeterTail = R"("0","0","00:00:00",">")";

void PackIo(SourceKind kind, const char* function) {
  const FunctionTrace trace(function);
  const char* word = kKindWord[kind];
  Print(" \n\n\n ************************ Entering %s ************************\n", function);
  IoRecordText record{};
  record.Format(kIoTexts[kind], AppDataReqFlags.io[kind].gi32_ReqId.load());
  Print("i8_TempStr = |%s|\n", record.c_str());
  IoRecordText& buffer = gMainState.DataCollectorDBData.i8_IoRecord[kind];
  buffer = record;
  Print("na i8_%sRecord = |%s|\n", word, buffer.c_str());
  Print("na i8_%sRecord Length = <%zu>\n", word, buffer.view().size());
}

// A meter's text, cut to `Room` characters: head, one failure text per register, tail. It has no start mark.
template <std::size_t Room>
FixedText<Room> BuildMeterText(std::int32_t requestId, std::size_t line, std::size_t meter) {
  const DataCollectorSiteConfig& site = gMainState.DataCollectorSiteConfig;
  const char* missing = TextOrEmpty(site.FailureDataCharacter);
  FixedText<Room> text{};
  if (site.DeviceIDEnable == 1) {
    text.Format(R"("%s",%d,%d,%zu,%zu,"%s","%s","%s","%s","0",)", TextOrEmpty(site.DeviceID), 0, requestId,
                line + 1, meter + 1, missing, missing, missing, missing);
  } else {
    text.Format(R"(%d,%d,%zu,%zu,"%s","%s","%s","%s","0",)", 0, requestId, line + 1, meter + 1, missing,
                missing, missing, missing);
  }
  Print("Before Loop = %s\n", text.c_str());
  FixedText<Room> value{};
  value.Format("\"%s\",", missing);
  bool fits = true;
  for (std::int32_t index = 0; fits && index < site.Maxnumberofregister; ++index) {
    fits = text.Append(value.view());
  }
  text.Append(kMeterTail);
  return text;
}

void EnterMeter(const char* function, std::size_t line, std::size_t meter) {
  Print(" \n\n\n ************************ Entering %s ************************\n", function);
  Print(" \n\n\n ************************ Line ID = %zu, Meter ID = %zu ************************\n\n",
        line + 1, meter + 1);
}

void StoreMeter(SourceKind kind, MeterRecordText& buffer, const char* text) {
  const char* word = kKindWord[kind];
  buffer.Assign(text);
  Print("na i8_%sRecord = |%s|\n", word, buffer.c_str());
  Print("na i8_%sRecord Length = <%zu>\n", word, buffer.view().size());
}

}  // namespace

void PackAIONaData() { PackIo(AIO, __func__); }
void PackDIONaData() { PackIo(DIO, __func__); }
void PackTemperatureNaData() { PackIo(TEMPERATURE, __func__); }

void PackRS485NaData(std::size_t line, std::size_t meter) {
  const FunctionTrace trace(__func__);
  EnterMeter(__func__, line, meter);
  const auto text = BuildMeterText<3999>(AppDataReqFlags.rs485[meter][line].gi32_ReqId, line, meter);
  Print("Concatenated RS485 String=%s\n", text.c_str());
  if (line < kRs485StoredLines) {
    StoreMeter(RS485, gMainState.DataCollectorDBData.i8_RS485Record[line][meter], text.c_str());
  }
}

// RS-232 request numbers have one row per meter: meter plus line is the row's index.
void PackRS232NaData(std::size_t line, std::size_t meter) {
  const FunctionTrace trace(__func__);
  EnterMeter(__func__, line, meter);
  const std::size_t row = meter + line;
  const std::int32_t requestId = row < kRs232Meters ? AppDataReqFlags.rs232[row][0].gi32_ReqId.load() : 0;
  const auto text = BuildMeterText<199>(requestId, line, meter);
  Print("Concatenated RS232 String=%s\n", text.c_str());
  if (line < kRs232Lines) {
    StoreMeter(RS232, gMainState.DataCollectorDBData.i8_RS232Line1Record[meter], text.c_str());
  }
}

}  // namespace datacollector
