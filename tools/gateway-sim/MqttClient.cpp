#include "MqttClient.h"

#include <mosquitto.h>
#include <poll.h>

#include <string>
#include <string_view>
#include <utility>

namespace datacollector::sim {
namespace {

constexpr int kQos = 2;
constexpr int kKeepAliveSeconds = 60;
// What the broker allows by default. It acknowledges a QoS 2 message beyond its limit, but drops it.
constexpr int kMaxInflight = 20;
constexpr double kSecondsBetweenAttempts = 1.0;
constexpr int kCloseRounds = 20;
constexpr int kCloseRoundMilliseconds = 50;

MqttClient& ClientOf(void* self) { return *static_cast<MqttClient*>(self); }

}  // namespace

MqttClient::MqttClient(std::string id, std::string host, int port)
    : id_(std::move(id)), host_(std::move(host)), port_(port) {
  mosquitto_lib_init();
}

MqttClient::~MqttClient() {
  mosquitto_destroy(client_);
  mosquitto_lib_cleanup();
}

void MqttClient::Subscribe(std::string filter, OnMessage onMessage) {
  filter_ = std::move(filter);
  onMessage_ = std::move(onMessage);
}

void MqttClient::ConnectIfDue(double now) {
  if (Socket() >= 0 || now < nextAttempt_) {
    return;
  }
  nextAttempt_ = now + kSecondsBetweenAttempts;
  if (MakeLibraryClient()) {
    mosquitto_connect(client_, host_.c_str(), port_, kKeepAliveSeconds);
  }
}

bool MqttClient::MakeLibraryClient() {
  mosquitto_destroy(client_);
  sent_.clear();
  client_ = mosquitto_new(id_.c_str(), true, this);
  if (client_ == nullptr) {
    return false;
  }
  mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_max_inflight_messages_set(client_, kMaxInflight);
  mosquitto_connect_callback_set(client_, HandleConnect);
  mosquitto_disconnect_callback_set(client_, HandleDisconnect);
  mosquitto_subscribe_callback_set(client_, HandleSubscribe);
  mosquitto_publish_callback_set(client_, HandlePublish);
  mosquitto_message_callback_set(client_, HandleMessage);
  return true;
}

void MqttClient::Service(double now, short revents) {
  now_ = now;
  if (Socket() < 0) {
    return;
  }
  if ((revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
    mosquitto_loop_read(client_, 1);
  }
  if (Socket() >= 0 && mosquitto_want_write(client_)) {
    mosquitto_loop_write(client_, 1);
  }
  if (Socket() >= 0) {
    mosquitto_loop_misc(client_);
  }
}

int MqttClient::Socket() const { return client_ == nullptr ? -1 : mosquitto_socket(client_); }

short MqttClient::Events() const {
  return static_cast<short>(client_ != nullptr && mosquitto_want_write(client_) ? POLLIN | POLLOUT : POLLIN);
}

void MqttClient::Publish(const std::string& topic, const std::string& payload, OnDelivered onDelivered) {
  const auto [entry, fresh] =
      undelivered_.try_emplace(++published_, Message{topic, payload, std::move(onDelivered)});
  if (ready_) {
    Send(entry->first, entry->second);
  }
}

// A message that the library refuses stays for the next connection.
void MqttClient::Send(unsigned long number, const Message& message) {
  int mid = 0;
  if (mosquitto_publish(client_, &mid, message.topic.c_str(), static_cast<int>(message.payload.size()),
                        message.payload.data(), kQos, false) == MOSQ_ERR_SUCCESS) {
    sent_[mid] = number;
  }
}

void MqttClient::BecomeReady() {
  ready_ = true;
  readySince_ = now_;
  for (const auto& [number, message] : undelivered_) {
    Send(number, message);
  }
}

void MqttClient::Close() {
  mosquitto_disconnect(client_);
  for (int round = 0; round < kCloseRounds && Socket() >= 0; ++round) {
    mosquitto_loop(client_, kCloseRoundMilliseconds, 1);
  }
}

void MqttClient::HandleConnect(mosquitto* client, void* self, int result) {
  MqttClient& own = ClientOf(self);
  if (result != 0) {
    return;
  }
  if (own.filter_.empty()) {
    own.BecomeReady();
  } else {
    mosquitto_subscribe(client, nullptr, own.filter_.c_str(), kQos);
  }
}

void MqttClient::HandleDisconnect(mosquitto* /*client*/, void* self, int /*result*/) {
  ClientOf(self).ready_ = false;
}

void MqttClient::HandleSubscribe(mosquitto* /*client*/, void* self, int /*mid*/, int /*count*/,
                                 const int* /*granted*/) {
  ClientOf(self).BecomeReady();
}

void MqttClient::HandlePublish(mosquitto* /*client*/, void* self, int mid) {
  MqttClient& own = ClientOf(self);
  const auto sent = own.sent_.find(mid);
  if (sent == own.sent_.end()) {
    return;
  }
  const auto message = own.undelivered_.find(sent->second);
  const OnDelivered onDelivered = std::move(message->second.onDelivered);
  own.undelivered_.erase(message);
  own.sent_.erase(sent);
  onDelivered();
}

void MqttClient::HandleMessage(mosquitto* /*client*/, void* self, const mosquitto_message* message) {
  const MqttClient& own = ClientOf(self);
  if (own.onMessage_ && message->payloadlen > 0) {
    own.onMessage_(message->topic, {static_cast<const char*>(message->payload),
                                    static_cast<std::size_t>(message->payloadlen)});
  }
}

}  // namespace datacollector::sim
