// One connection to the broker, driven by its owner's poll loop. Single-threaded.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

struct mosquitto;
struct mosquitto_message;

namespace datacollector::sim {

// Holds a session that outlives its connections: what was published or is to be received while the connection
// is down arrives when it is back, once each as long as the broker keeps its sessions.
class MqttClient {
 public:
  using OnMessage = std::function<void(std::string_view topic, std::string_view payload)>;
  using OnDelivered = std::function<void()>;

  // The library is initialised as long as a client lives.
  MqttClient(std::string id, std::string host, int port);
  ~MqttClient();
  MqttClient(const MqttClient&) = delete;
  MqttClient& operator=(const MqttClient&) = delete;

  // Subscribes on each connection; the client is ready when the broker has granted it.
  void Subscribe(std::string filter, OnMessage onMessage);

  // Connects when there is no connection, at most once a second.
  void ConnectIfDue(double now);
  // Does what `revents` of the client's socket asks for.
  void Service(double now, short revents);

  int Socket() const;  // -1 without a connection
  short Events() const;
  bool Ready() const { return ready_; }
  double ReadySince() const { return readySince_; }

  // QoS 2. `onDelivered` runs when the broker has taken the message over. False when it can't be sent at all.
  bool Publish(const std::string& topic, const std::string& payload, OnDelivered onDelivered);
  std::size_t Undelivered() const { return pending_.size(); }

  // Ends the connection, and the session with it, so that the broker keeps nothing for this client.
  void Close();

 private:
  static void HandleConnect(mosquitto* client, void* self, int result);
  static void HandleDisconnect(mosquitto* client, void* self, int result);
  static void HandleSubscribe(mosquitto* client, void* self, int mid, int count, const int* granted);
  static void HandlePublish(mosquitto* client, void* self, int mid);
  static void HandleMessage(mosquitto* client, void* self, const mosquitto_message* message);

  void BecomeReady();
  void ForgetSession() const;

  std::string id_;
  std::string host_;
  int port_;
  mosquitto* client_;
  std::string filter_;
  OnMessage onMessage_;
  std::map<int, OnDelivered> pending_;  // by message id
  bool everConnected_ = false;
  bool ready_ = false;
  double now_ = 0.0;
  double readySince_ = 0.0;
  double nextAttempt_ = 0.0;
};

}  // namespace datacollector::sim
