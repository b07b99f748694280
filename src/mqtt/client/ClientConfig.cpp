#include "mqtt/client/ClientConfig.h"

#include <cstring>

namespace datacollector {

ClientConfig gClientConfig;

OwnedText CopyText(const char* text, std::size_t length) { return OwnedText(::strndup(text, length)); }

OwnedText CopyText(const char* text) { return OwnedText(::strdup(text)); }

int client_config_init(ClientConfig& cfg) {
  cfg.port = 1883;
  cfg.max_inflight = 30;
  cfg.keepalive = 60;
  cfg.clean_session = true;
  cfg.eol = true;
  cfg.protocol_version = MQTT_PROTOCOL_V31;
  cfg.qos = 2;
  if (cfg.host == nullptr) {
    cfg.host = "127.0.0.1";
  }
  return 0;
}

void client_config_cleanup(ClientConfig& cfg) {
  cfg.id.reset();
  cfg.id_prefix.reset();
  cfg.topic.reset();
  cfg.message.reset();
  cfg.topics.reset();
  cfg.topic_count = 0;
  ReleaseLastMessage(cfg);
}

void ReleaseLastMessage(ClientConfig& cfg) {
  mosquitto_message_free_contents(&cfg.last_message);
  cfg.last_message = {};
}

void SetNextPublish(ClientConfig& cfg, const char* topic, const char* message) {
  cfg.topic = CopyText(topic);
  cfg.message = CopyText(message);
  cfg.msglen = cfg.message ? static_cast<long>(std::strlen(cfg.message.get())) : 0;
}

}  // namespace datacollector
