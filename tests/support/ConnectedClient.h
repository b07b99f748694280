// The daemon's MQTT client, connected to the broker that runs.
#pragma once

#include <gtest/gtest.h>
#include <mosquitto.h>

#include <chrono>
#include <thread>

#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/ClientWrappers.h"
#include "support/CaptureOutput.h"
#include "support/EndConnection.h"
#include "support/Texts.h"

namespace datacollector {

// Connects a client configuration as the daemon does and takes it down again. The library's own log lines are
// switched off: its network thread prints them at any moment.
class ConnectedClient {
 public:
  explicit ConnectedClient(ClientConfig& cfg) : cfg_(cfg) {
    CapturedOutput output;
    EXPECT_EQ(Mosquitto_Initialization(cfg_), 0);
    mosquitto_log_callback_set(cfg_.mosq, nullptr);
    mosquitto_publish_callback_set(cfg_.mosq, nullptr);
    mosquitto_subscribe_callback_set(cfg_.mosq, nullptr);
    EXPECT_TRUE(WaitUntil([this] { return cfg_.status == STATUS_CONNACK_RECVD; }));
    output.Out();
    cfg_.debug = false;  // so that a client that is made anew is as quiet
    keeper_ = std::jthread([this](const std::stop_token& stop) { Keep(stop); });
  }
  ~ConnectedClient() {
    keeper_.request_stop();
    keeper_.join();
    CapturedOutput output;
    EndConnection(cfg_.mosq);
    Mosquitto_Cleanup(cfg_);
    cfg_.status = 0;
    cfg_.connected = false;
    cfg_.lost = false;
    output.Out();
  }
  ConnectedClient(const ConnectedClient&) = delete;
  ConnectedClient(ConnectedClient&&) = delete;
  ConnectedClient& operator=(const ConnectedClient&) = delete;
  ConnectedClient& operator=(ConnectedClient&&) = delete;

 private:
  // As the daemon's keeper thread.
  void Keep(const std::stop_token& stop) {
    bool lost = false;
    while (!stop.stop_requested()) {
      if (lost || Mosquitto_WaitForLoss(cfg_, kKeeperRound)) {
        lost = Mosquitto_Reconnect(cfg_) != 0;
        std::this_thread::sleep_for(kKeeperRound);
      }
    }
  }

  static constexpr std::chrono::milliseconds kKeeperRound{20};

  ClientConfig& cfg_;
  std::jthread keeper_;
};

}  // namespace datacollector
