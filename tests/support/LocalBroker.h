// The gateway's MQTT broker, and somebody who listens to it.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/EndConnection.h"
#include "support/Texts.h"

namespace datacollector {

// A mosquitto on 127.0.0.1:1883 that keeps nothing when it ends.
class LocalBroker {
 public:
  LocalBroker() { Start(); }
  ~LocalBroker() { Stop(); }
  LocalBroker(const LocalBroker&) = delete;
  LocalBroker(LocalBroker&&) = delete;
  LocalBroker& operator=(const LocalBroker&) = delete;
  LocalBroker& operator=(LocalBroker&&) = delete;

  // Returns when the broker accepts connections.
  void Start() {
    WriteFile(kConfigFile,
              "listener 1883 127.0.0.1\nallow_anonymous true\npersistence false\nuser root\n"
              "set_tcp_nodelay true\nmax_queued_messages 0\nlog_dest none\n");
    process_ = ::fork();
    if (process_ == 0) {
      const int nowhere = ::open("/dev/null", O_RDWR);
      ::dup2(nowhere, STDOUT_FILENO);
      ::dup2(nowhere, STDERR_FILENO);
      ::execl("/usr/sbin/mosquitto", "mosquitto", "-c", kConfigFile, static_cast<char*>(nullptr));
      ::_exit(127);
    }
    EXPECT_TRUE(WaitUntil(Accepts));
  }

  void Signal(int number) const { ::kill(process_, number); }

  // Ends the broker as if its process had crashed.
  void Stop() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
      process_ = -1;
    }
  }

 private:
  static constexpr const char* kConfigFile = "/tmp/local-broker.conf";

  static bool Accepts() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(1883);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool accepted = ::connect(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return accepted;
  }

  pid_t process_ = -1;
};

struct HeardMessage {
  std::string topic;
  std::string payload;
  int qos;
  bool retained;
};

// Hears every message; connects and subscribes again when the broker comes back.
class Listener {
 public:
  Listener() {
    mosquitto_lib_init();
    client_ = mosquitto_new(nullptr, true, this);
    mosquitto_connect_callback_set(client_, OnConnect);
    mosquitto_subscribe_callback_set(client_, OnSubscribe);
    mosquitto_message_callback_set(client_, OnMessage);
    EXPECT_EQ(mosquitto_connect(client_, "127.0.0.1", 1883, 60), MOSQ_ERR_SUCCESS);
    EXPECT_EQ(mosquitto_loop_start(client_), MOSQ_ERR_SUCCESS);
    EXPECT_TRUE(WaitForSubscriptions(1));
  }
  ~Listener() {
    EndConnection(client_);
    mosquitto_destroy(client_);
    mosquitto_lib_cleanup();
  }
  Listener(const Listener&) = delete;
  Listener(Listener&&) = delete;
  Listener& operator=(const Listener&) = delete;
  Listener& operator=(Listener&&) = delete;

  // Waits until the broker has granted the subscription for the `times`th time.
  bool WaitForSubscriptions(int times) {
    return WaitUntil([&] {
      const std::lock_guard lock(mutex_);
      return subscriptions_ >= times;
    });
  }

  bool WaitForMessages(std::size_t count) {
    return WaitUntil([&] { return Heard().size() >= count; });
  }

  // Everything so far, in the order of its arrival.
  std::vector<HeardMessage> Heard() {
    const std::lock_guard lock(mutex_);
    return heard_;
  }

  void Publish(const char* topic, const std::string& payload) {
    EXPECT_EQ(mosquitto_publish(client_, nullptr, topic, static_cast<int>(payload.size()), payload.data(), 2,
                                false),
              MOSQ_ERR_SUCCESS);
  }

 private:
  static void OnConnect(mosquitto* client, void* /*self*/, int /*result*/) {
    mosquitto_subscribe(client, nullptr, "#", 2);
  }
  static void OnSubscribe(mosquitto* /*client*/, void* self, int /*mid*/, int /*count*/, const int* /*qos*/) {
    auto& listener = *static_cast<Listener*>(self);
    const std::lock_guard lock(listener.mutex_);
    ++listener.subscriptions_;
  }
  static void OnMessage(mosquitto* /*client*/, void* self, const mosquitto_message* message) {
    auto& listener = *static_cast<Listener*>(self);
    const std::lock_guard lock(listener.mutex_);
    listener.heard_.push_back({message->topic,
                               std::string(static_cast<const char*>(message->payload),
                                           static_cast<std::size_t>(message->payloadlen)),
                               message->qos, message->retain});
  }

  mosquitto* client_;
  std::mutex mutex_;  // protects everything below
  int subscriptions_ = 0;
  std::vector<HeardMessage> heard_;
};

}  // namespace datacollector
