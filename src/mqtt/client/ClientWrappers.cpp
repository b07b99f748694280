#include "mqtt/client/ClientWrappers.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <new>
#include <thread>

#include "ground/FileLogger.h"
#include "ground/MainState.h"
#include "ground/Trace.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"

namespace datacollector {
namespace {

constexpr int kConnectAttempts = 4;
constexpr std::chrono::seconds kConnectPause{5};
constexpr std::size_t kTopicCopyLength = 99;

// Connects, with pauses between the attempts. 0, or -1 after the last attempt.
int ConnectWithRetries(ClientConfig& cfg) {
  for (int failures = 0; mosquitto_client_connect(cfg) != 0;) {
    PrintLine("Failure: mosquitto_client_connect");
    if (++failures == kConnectAttempts) {
      WriteLog("mosquitto_client_connect failure & number of retries over");
      return -1;
    }
    FlushTrace();
    std::this_thread::sleep_for(kConnectPause);
  }
  PrintLine("Success: mosquitto_client_connect");
  return 0;
}

// Every start takes the same session up: the identifier is the gateway's, whatever the process.
void KeepSession(ClientConfig& cfg) {
  FixedText<600> id{};
  id.Format("DataCollector-%s", TextOrEmpty(gMainState.DataCollectorSiteConfig.DeviceID));
  cfg.id = CopyText(id.c_str());
  cfg.clean_session = false;
  cfg.protocol_version = MQTT_PROTOCOL_V311;
}

// A new session must not meet what a client remembers of the one before. With a kept session the broker says
// whether it still has it.
int RenewWhereNeeded(ClientConfig& cfg) {
  if ((cfg.clean_session || cfg.sessionGone) && mosquitto_client_renew(cfg) != 0) {
    return 1;
  }
  const std::lock_guard lock(cfg.mutex);
  cfg.lost = false;
  return 0;
}

}  // namespace

int Mosquitto_Initialization(ClientConfig& cfg) {
  const FunctionTrace trace(__func__);
  mosquitto_client_config_load(cfg);
  DataCollector_sub_client_config_load(cfg);
  if (mosquitto_client_topic_check(cfg, kCheckSubscribeTopics) > 0) {
    PrintLine("Failure: mosquitto_client_topic_check");
    return -1;
  }
  PrintLine("Success: mosquitto_client_topic_check");
  if (mosquitto_client_init(cfg) != 0) {
    PrintLine("Failure: mosquitto_client_init");
    return -1;
  }
  PrintLine("Success: mosquitto_client_init");
  return ConnectWithRetries(cfg);
}

int DataCollector_sub_client_config_load(ClientConfig& cfg) {
  const FunctionTrace trace(__func__);
  const DataCollectorMqttTopics& configured = gMainState.DataCollectorMqttTopics;
  const std::size_t count = std::min<std::size_t>(configured.ui16_NoOfSubscribeTopics, kTopicSlots);
  cfg.host = "127.0.0.1";
  cfg.debug = true;
  if (configured.ui16_KeepSession == 1) {
    KeepSession(cfg);
  }
  cfg.topics.reset(new (std::nothrow) OwnedText[count]);
  cfg.topic_count = cfg.topics ? static_cast<int>(count) : 0;
  for (std::size_t index = 0; index < static_cast<std::size_t>(cfg.topic_count); ++index) {
    const FixedText<100>& topic = configured.i8_SubscribeTopics[index];
    cfg.topics[index] = CopyText(topic.c_str(), kTopicCopyLength);
    if (topic.empty()) {
      PrintError("SubscribeTopic%zu is empty: nothing is subscribed for it\n", index + 1);
    }
  }
  return 0;
}

int Mosquitto_Publish(ClientConfig& cfg) {
  const FunctionTrace trace(__func__);
  const bool published = mosquitto_client_publish(cfg) == 0;
  const char* outcome = published ? "Success: mosquitto_client_publish" : "Failure: mosquitto_client_publish";
  PrintLine(outcome);
  PrintLine(outcome);
  if (!published) {
    WriteLog("mosquitto_client_publish failure");
    return -1;
  }
  WriteLog("mosquitto_client_publish msg : %s to topic %s\n", cfg.message.get(), cfg.topic.get());
  WriteLog("mosquitto_client_publish retry count : %d\n", 0);
  return 0;
}

bool Mosquitto_WaitForLoss(ClientConfig& cfg, std::chrono::milliseconds patience) {
  std::unique_lock lock(cfg.mutex);
  return cfg.connectionLost.wait_for(lock, patience, [&cfg] { return cfg.lost; });
}

int Mosquitto_Reconnect(ClientConfig& cfg) {
  mosquitto_loop_stop(cfg.mosq, false);
  if (RenewWhereNeeded(cfg) != 0 || mosquitto_connect_bind(cfg.mosq, cfg.host, cfg.port, cfg.keepalive,
                                                           cfg.bind_address) != MOSQ_ERR_SUCCESS) {
    return -1;
  }
  const int result = mosquitto_loop_start(cfg.mosq);
  if (result != MOSQ_ERR_SUCCESS) {
    PrintError("The network thread can't be started (%s).\n", mosquitto_strerror(result));
    return -1;
  }
  return 0;
}

void Mosquitto_Cleanup(ClientConfig& cfg) {
  const FunctionTrace trace(__func__);
  mosquitto_client_cleanup(cfg);
}

}  // namespace datacollector
