// One connection to the broker, driven by its owner's poll loop. Single-threaded.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

struct mosquitto;
struct mosquitto_message;

namespace datacollector::sim {

// Every connection is a new session with a library client of its own: after a broker's restart, message ids
// and QoS 2 states of the old session mean nothing any more. What the broker had not acknowledged is
// published again on the next connection, in order; a message that it had passed on without being able to say
// so arrives twice.
class MqttClient {
 public:
  using OnMessage = std::function<void(std::string_view topic, std::string_view payload)>;
  using OnDelivered = std::function<void()>;

  // The library is initialised as long as a client lives.
  MqttClient(std::string id, std::string host, int port);
  ~MqttClient();
  MqttClient(const MqttClient&) = delete;
  MqttClient(MqttClient&&) = delete;
  MqttClient& operator=(const MqttClient&) = delete;
  MqttClient& operator=(MqttClient&&) = delete;

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

  // QoS 2, now or on the next connection. `onDelivered` runs when the broker has taken the message over.
  void Publish(const std::string& topic, const std::string& payload, OnDelivered onDelivered);

  void Close();

 private:
  static void HandleConnect(mosquitto* client, void* self, int result);
  static void HandleDisconnect(mosquitto* client, void* self, int result);
  static void HandleSubscribe(mosquitto* client, void* self, int mid, int count, const int* granted);
  static void HandlePublish(mosquitto* client, void* self, int mid);
  static void HandleMessage(mosquitto* client, void* self, const mosquitto_message* message);

  struct Message {
    std::string topic;
    std::string payload;
    OnDelivered onDelivered;
  };

  bool MakeLibraryClient();
  void BecomeReady();
  void Send(unsigned long number, const Message& message);

  std::string id_;
  std::string host_;
  int port_;
  mosquitto* client_ = nullptr;  // of the present connection or the last one
  std::string filter_;
  OnMessage onMessage_;
  unsigned long published_ = 0;
  std::map<unsigned long, Message> undelivered_;  // by number of publishing
  std::map<int, unsigned long> sent_;             // the number by message id of the present connection
  bool ready_ = false;
  double now_ = 0.0;
  double readySince_ = 0.0;
  double nextAttempt_ = 0.0;
};

}  // namespace datacollector::sim
