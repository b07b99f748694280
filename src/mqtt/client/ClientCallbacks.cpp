#include "mqtt/client/ClientCallbacks.h"

#include <cstring>

#include "ground/MainState.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientConfig.h"

namespace datacollector {
namespace {

constexpr int kSessionPresent = 1;

// A message of a kept session is acknowledged behind its handler and not before, as it would be with QoS 2.
constexpr int kKeptSessionQos = 1;

ClientConfig& ConfigOf(void* object) { return *static_cast<ClientConfig*>(object); }

// Subscribes to the topics of the configuration. A slot that was left empty is passed over: a broker ends the
// connection of a client that asks for an empty filter.
void SubscribeToTopics(mosquitto* mosq, const ClientConfig& cfg) {
  for (std::size_t index = 0; index < static_cast<std::size_t>(cfg.topic_count); ++index) {
    const FixedText<100>& topic = gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[index];
    if (!topic.empty()) {
      mosquitto_subscribe(mosq, nullptr, topic.c_str(), cfg.clean_session ? cfg.qos : kKeptSessionQos);
    }
  }
}

}  // namespace

void on_connect_callback(mosquitto* mosq, void* object, int result) {
  ClientConfig& cfg = ConfigOf(object);
  if (!cfg.quiet) {
    PrintLine("on_connect_callback:");
  }
  if (result != 0) {
    if (!cfg.quiet) {
      PrintError("%s\n", mosquitto_connack_string(result));
    }
    FlushTrace();
    return;
  }
  if (!cfg.quiet) {
    PrintLine("Connect Success:");
  }
  cfg.connected = true;
  cfg.status = STATUS_CONNACK_RECVD;
  RecordConnection(true);
  Print("topic_count : %d\n", cfg.topic_count);
  SubscribeToTopics(mosq, cfg);
  FlushTrace();
}

void on_session_callback(mosquitto* mosq, void* object, int result, int flags) {
  ClientConfig& cfg = ConfigOf(object);
  const bool present = (flags & kSessionPresent) != 0;
  if (result == 0 && !present && cfg.remembers) {
    cfg.sessionGone = true;
    mosquitto_disconnect(mosq);
    return;
  }
  if (result == 0) {
    const bool ownAndEmpty = cfg.sessionGone;  // made by the connection that was given up
    cfg.sessionGone = false;
    cfg.remembers = true;
    if (present && !ownAndEmpty && cfg.onKeptSession != nullptr) {
      cfg.onKeptSession();
    }
  }
  on_connect_callback(mosq, object, result);
}

void on_disconnect_callback(mosquitto* mosq, void* object, int /*result*/) {
  ClientConfig& cfg = ConfigOf(object);
  cfg.connected = false;
  RecordConnection(false);
  mosquitto_disconnect(mosq);
  {
    const std::lock_guard lock(cfg.mutex);
    cfg.lost = true;
  }
  cfg.connectionLost.notify_one();
}

void on_subscribe_callback(mosquitto* /*mosq*/, void* object, int mid, int qosCount, const int* grantedQos) {
  if (!ConfigOf(object).quiet) {
    Print("Subscribed (mid: %d): %d", mid, grantedQos[0]);
    for (int index = 1; index < qosCount; ++index) {
      Print(", %d", grantedQos[index]);
    }
    PrintText("\n");
    FlushTrace();
  }
}

void on_publish_callback(mosquitto* /*mosq*/, void* object, int mid) {
  if (!ConfigOf(object).quiet) {
    Print("on_publish_callback:mid = %d\n", mid);
    FlushTrace();
  }
}

// What the broker has sent is received by the network thread alone, a ping's answer at least once a minute.
// Not the end of an event: the library logs each packet of a message before the message itself is handed
// over.
void on_log_callback(mosquitto* /*mosq*/, void* /*object*/, int /*level*/, const char* text) {
  PrintLine(text);
  if (std::strstr(text, " received ") != nullptr) {
    Heartbeat(kNetworkThread);
  }
}

}  // namespace datacollector
