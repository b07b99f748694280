#include "mqtt/inbound/RequestIds.h"

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

void Wrap(Word& requestId) {
  if (requestId > gMainState.ui16_MaxAppDataReqId) {
    requestId = 0;
  }
}

}  // namespace

void ResetRequestIds(SourceKind kind, std::size_t line) {
  if (line >= kKinds[kind].storedLines) {
    return;
  }
  const std::size_t meters =
      Bounded(MetersInLine(gMainState.DataCollectorSourcesConfig, kind, line), kKinds[kind].meters);
  for (std::size_t meter = 0; meter < meters; ++meter) {
    Wrap(AppDataReqFlags.At(kind, meter, line).gi32_ReqId);
  }
}

void ResetReqId(std::size_t kind) {
  const CodePlace place = CodePlace::Current();
  // Tells its end at entry as well as at exit: scripts in the field count these lines.
  const auto printEnd = [place] {
    Print("FILE:%s:LINE:%d:FUNCTION:%s:END\n", SourceFileName(place), place.line, "ResetReqId");
  };
  printEnd();
  if (kind < kIoKinds) {
    Wrap(AppDataReqFlags.At(static_cast<SourceKind>(kind)).gi32_ReqId);
  }
  printEnd();
}

void ResetRS485ReqId(std::size_t line) { ResetRequestIds(RS485, line); }
void ResetRS232ReqId(std::size_t line) { ResetRequestIds(RS232, line); }
void ResetSNMPReqId(std::size_t line) { ResetRequestIds(SNMP, line); }

}  // namespace datacollector
