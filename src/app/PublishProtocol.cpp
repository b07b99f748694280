#include "app/PublishProtocol.h"

#include <algorithm>
#include <array>

#include "ground/FixedText.h"
#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientWrappers.h"

namespace datacollector {
namespace {

struct IoRequest {
  SourceKind kind;
  RequestCode code;
  const char* message;
};

// Row n is the request of case n.
constexpr std::array<IoRequest, 2> kIoRequests = {{
    {AIO, kRequestAnalog, "in AIO APP DATA REQ "},
    {DIO, kRequestDigital, "in DIO APP DATA REQ "},
}};

// By line index; other lines are not asked.
constexpr std::array<RequestCode, 2> kLineCodes = {kRequestRs485Line1, kRequestRs485Line2};

void PublishRequest(ClientConfig& cfg, const char* topic, const char* payload) {
  cfg.host = "127.0.0.1";
  SetNextPublish(cfg, topic, payload);
  Print("######## cfg->topic = <%s> ########\n", TextOrEmpty(cfg.topic.get()));
  Print("######## cfg->msglen = <%ld> ########\n", cfg.msglen);
  Print("######## cfg->message = <%s> ########\n", TextOrEmpty(cfg.message.get()));
  Mosquitto_Publish(cfg);
}

// In the retry mode the meter's period starts anew: it is requested, and not due or written yet.
void RestartPeriod(PeriodicWindow& window) {
  window.gui8_PeriodicRecordsWritten = 0;
  window.gui8_WriteRecordsRequested = 1;
  window.gui8_WriteRecordsDue = 0;
}

bool IsAsked(int mode, DataRequest& request, std::size_t meter, std::size_t line) {
  if (mode != 0) {
    return request.gui8_AppDataReqPending.exchange(0) == 1;
  }
  const std::int32_t meters = MetersInLine(gMainState.DataCollectorSourcesConfig, RS485, line);
  return meters > 0 && meter < static_cast<std::size_t>(meters);
}

void RequestMeter(ClientConfig& cfg, int mode, std::size_t meter, std::size_t line) {
  DataRequest& request = AppDataReqFlags.At(RS485, meter, line);
  if (!IsAsked(mode, request, meter, line)) {
    return;
  }
  const std::int32_t number = gMainState.DataCollectorSourcesConfig.MeterID[meter];
  request.gi32_ReqId = number + 1;
  request.gui8_AppDataReqPublished = 1;
  if (mode != 0) {
    RestartPeriod(DBWriteFlags.At(RS485, meter, line));
  }
  if (line < kLineCodes.size()) {
    publishAppDataMultiRequest(cfg, kLineCodes[line], number, meter + 1, line + 1);
  }
}

void ClearRequest(DataRequest& request) {
  request.gui8_AppDataReqPublished = 0;
  request.gui8_AppDataReqPending = 0;
}

}  // namespace

void publishAppDataRequest(ClientConfig& cfg, std::int32_t code, std::int32_t requestNumber) {
  const FunctionTrace trace(__func__);
  FixedText<511> payload{};
  payload.Format("<,%d,%d,>", code, requestNumber);
  PublishRequest(cfg, gMainState.DataCollectorMqttTopics.i8_AppDataReqPublishTopic.c_str(), payload.c_str());
}

void publishAppDataMultiRequest(ClientConfig& cfg, std::int32_t code, std::int32_t requestNumber,
                                std::size_t meterNumber, std::size_t lineNumber) {
  const FunctionTrace trace(__func__);
  FixedText<511> payload{};
  payload.Format("<,%d,%d,%zu,%zu,>", code, requestNumber, meterNumber, lineNumber);
  PublishRequest(cfg, gMainState.DataCollectorMqttTopics.i8_AppDataMultiReqPublishTopic.c_str(),
                 payload.c_str());
}

void AppDataReq(ClientConfig& cfg, int requestCase) {
  const FunctionTrace trace(__func__);
  Print("i32_Case: %d\n", requestCase);
  if (requestCase < 0 || static_cast<std::size_t>(requestCase) >= kIoRequests.size()) {
    return;
  }
  const IoRequest& request = kIoRequests[static_cast<std::size_t>(requestCase)];
  if (IsSourceEnabled(gMainState.DataCollectorSourcesConfig, request.kind)) {
    PrintLine(request.message);
    publishAppDataRequest(cfg, request.code, ++AppDataReqFlags.At(request.kind).gi32_ReqId);
  }
}

void AppDataMultiReq(ClientConfig& cfg, int mode) {
  const FunctionTrace trace(__func__);
  const std::size_t lines = Bounded(SrcFlags.gi32_TotalNumRS485EnSrces, kKinds[RS485].lines);
  for (std::size_t meter = 0; meter < kKinds[RS485].meters; ++meter) {
    for (std::size_t line = 0; line < lines; ++line) {
      if (IsLineEnabled(gMainState.DataCollectorSourcesConfig, RS485, line)) {
        RequestMeter(cfg, mode, meter, line);
      }
    }
    SleepInMilliSecond(gMainState.ui16_MeterReadSleepInterval);
  }
}

void ResetAppDataReqFlags() {
  const FunctionTrace trace(__func__);
  std::for_each(AppDataReqFlags.begin(), AppDataReqFlags.end(), ClearRequest);
}

}  // namespace datacollector
