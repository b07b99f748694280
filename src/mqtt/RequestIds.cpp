#include "mqtt/RequestIds.h"

#include <algorithm>
#include <array>

#include "app/ground/Flags.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

// Lines whose meters have request numbers, per kind.
constexpr std::array<std::size_t, kSourceKinds> kNumberedLines = {0, 0, 0, 2, 1, 1};

void Wrap(Word& requestId) {
  if (requestId > gMainState.ui16_MaxAppDataReqId) {
    requestId = 0;
  }
}

void WrapLine(SourceKind kind, std::size_t line) {
  if (line >= kNumberedLines[kind]) {
    return;
  }
  const std::int32_t configured = MetersInLine(gMainState.DataCollectorSourcesConfig, kind, line);
  const std::size_t meters =
      std::min(static_cast<std::size_t>(std::max(configured, 0)), SizeOfMeterTable(kind).meters);
  for (std::size_t meter = 0; meter < meters; ++meter) {
    Wrap(AppDataReqFlags.At(kind, meter, line).gi32_ReqId);
  }
}

}  // namespace

void ResetReqId(std::size_t kind) {
  const CodePlace place = CodePlace::Current();
  // Tells its end at entry as well as at exit: that is how this function has always shown in the trace.
  const auto printEnd = [place] {
    Print("FILE:%s:LINE:%d:FUNCTION:%s:END\n", SourceFileName(place), place.line, "ResetReqId");
  };
  printEnd();
  if (kind < kIoKinds) {
    Wrap(AppDataReqFlags.io[kind].gi32_ReqId);
  }
  printEnd();
}

void ResetRS485ReqId(std::size_t line) { WrapLine(RS485, line); }
void ResetRS232ReqId(std::size_t line) { WrapLine(RS232, line); }
void ResetSNMPReqId(std::size_t line) { WrapLine(SNMP, line); }

}  // namespace datacollector
