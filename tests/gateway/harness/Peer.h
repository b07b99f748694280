// An application beside the daemon on the local broker: a client with a network thread of its own.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "gateway/harness/Deadline.h"

struct mosquitto;
struct mosquitto_message;

namespace datacollector::gateway {

struct Message {
  std::string topic;
  std::string payload;
};

class Peer {
 public:
  // Called on the peer's network thread for each message, before anybody who waits for it is told.
  using Handler = std::function<void(const Message&)>;

  // Connects and subscribes to `topics`; returns when the broker has granted them. It connects and subscribes
  // again by itself when the broker comes back.
  explicit Peer(std::vector<std::string> topics = {}, Handler handler = nullptr);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer(Peer&&) = delete;
  Peer& operator=(const Peer&) = delete;
  Peer& operator=(Peer&&) = delete;

  // Publishes with QoS 2 and waits until the broker has taken the message over for good.
  bool Publish(const std::string& topic, const std::string& payload);

  // Publishes with QoS 2 without waiting. May be called from the handler. What is retained, the broker gives
  // to everybody who subscribes later.
  int PublishLater(const std::string& topic, const std::string& payload, bool retained = false);
  bool WaitForCompletion(int messageId, std::chrono::milliseconds patience = kPatience);

  // Waits until the peer is connected, with its subscriptions granted, for the `times`th time.
  bool WaitForConnection(std::size_t times = 1, std::chrono::milliseconds patience = kPatience);

  // All messages so far on a topic, in the order of their arrival.
  std::vector<std::string> Received(const std::string& topic) const;

  // Waits until a topic has had at least `count` messages.
  bool WaitForMessages(const std::string& topic, std::size_t count,
                       std::chrono::milliseconds patience = kPatience) const;

 private:
  static void OnConnect(mosquitto* client, void* self, int result);
  static void OnSubscribe(mosquitto* client, void* self, int messageId, int count, const int* granted);
  static void OnPublish(mosquitto* client, void* self, int messageId);
  static void OnMessage(mosquitto* client, void* self, const mosquitto_message* message);
  void CountConnection();

  mosquitto* client_;
  const std::vector<std::string> topics_;
  const Handler handler_;

  mutable std::mutex mutex_;  // protects everything below
  mutable std::condition_variable changed_;
  std::size_t grantsMissing_ = 0;
  std::size_t connections_ = 0;
  std::set<int> completed_;
  std::map<std::string, std::vector<std::string>> received_;
};

}  // namespace datacollector::gateway
