#include "gateway/harness/Peer.h"

#include <gtest/gtest.h>
#include <mosquitto.h>

#include <utility>

#include "support/EndConnection.h"

namespace datacollector::gateway {
namespace {

constexpr int kExactlyOnce = 2;

struct Library {
  Library() { mosquitto_lib_init(); }
};

}  // namespace

Peer::Peer(std::vector<std::string> topics, Handler handler)
    : topics_(std::move(topics)), handler_(std::move(handler)) {
  static const Library library;
  client_ = mosquitto_new(nullptr, true, this);
  mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_reconnect_delay_set(client_, 1, 1, false);
  mosquitto_connect_callback_set(client_, OnConnect);
  mosquitto_subscribe_callback_set(client_, OnSubscribe);
  mosquitto_publish_callback_set(client_, OnPublish);
  mosquitto_message_callback_set(client_, OnMessage);
  EXPECT_EQ(mosquitto_connect(client_, "127.0.0.1", 1883, 60), MOSQ_ERR_SUCCESS);
  EXPECT_EQ(mosquitto_loop_start(client_), MOSQ_ERR_SUCCESS);
  EXPECT_TRUE(WaitForConnection());
}

Peer::~Peer() {
  EndConnection(client_);
  mosquitto_destroy(client_);
}

void Peer::OnConnect(mosquitto* client, void* self, int result) {
  auto& peer = *static_cast<Peer*>(self);
  if (result != 0) {
    return;
  }
  {
    const std::lock_guard lock(peer.mutex_);
    peer.grantsMissing_ = peer.topics_.size();
  }
  for (const std::string& topic : peer.topics_) {
    mosquitto_subscribe(client, nullptr, topic.c_str(), kExactlyOnce);
  }
  if (peer.topics_.empty()) {
    peer.CountConnection();
  }
}

void Peer::OnSubscribe(mosquitto* /*client*/, void* self, int /*messageId*/, int /*count*/,
                       const int* /*granted*/) {
  auto& peer = *static_cast<Peer*>(self);
  bool complete = false;
  {
    const std::lock_guard lock(peer.mutex_);
    complete = --peer.grantsMissing_ == 0;
  }
  if (complete) {
    peer.CountConnection();
  }
}

void Peer::CountConnection() {
  {
    const std::lock_guard lock(mutex_);
    ++connections_;
  }
  changed_.notify_all();
}

void Peer::OnPublish(mosquitto* /*client*/, void* self, int messageId) {
  auto& peer = *static_cast<Peer*>(self);
  {
    const std::lock_guard lock(peer.mutex_);
    peer.completed_.insert(messageId);
  }
  peer.changed_.notify_all();
}

void Peer::OnMessage(mosquitto* /*client*/, void* self, const mosquitto_message* message) {
  auto& peer = *static_cast<Peer*>(self);
  const Message arrived{message->topic, std::string(static_cast<const char*>(message->payload),
                                                    static_cast<std::size_t>(message->payloadlen))};
  if (peer.handler_) {
    peer.handler_(arrived);
  }
  {
    const std::lock_guard lock(peer.mutex_);
    peer.received_[arrived.topic].push_back(arrived.payload);
  }
  peer.changed_.notify_all();
}

bool Peer::Publish(const std::string& topic, const std::string& payload) {
  return WaitForCompletion(PublishLater(topic, payload));
}

int Peer::PublishLater(const std::string& topic, const std::string& payload, bool retained) {
  int messageId = 0;
  const int result = mosquitto_publish(client_, &messageId, topic.c_str(), static_cast<int>(payload.size()),
                                       payload.data(), kExactlyOnce, retained);
  // Without a connection the library keeps the message and sends it when it is connected again.
  EXPECT_TRUE(result == MOSQ_ERR_SUCCESS || result == MOSQ_ERR_NO_CONN) << mosquitto_strerror(result);
  return messageId;
}

bool Peer::WaitForCompletion(int messageId, std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return completed_.erase(messageId) != 0; });
}

bool Peer::WaitForConnection(std::size_t times, std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] { return connections_ >= times; });
}

std::vector<std::string> Peer::Received(const std::string& topic) const {
  const std::lock_guard lock(mutex_);
  const auto entry = received_.find(topic);
  return entry == received_.end() ? std::vector<std::string>() : entry->second;
}

bool Peer::WaitForMessages(const std::string& topic, std::size_t count,
                           std::chrono::milliseconds patience) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [&] {
    const auto entry = received_.find(topic);
    return entry != received_.end() && entry->second.size() >= count;
  });
}

}  // namespace datacollector::gateway
