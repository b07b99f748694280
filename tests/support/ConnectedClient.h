// The daemon's MQTT client, connected to the broker that runs.
#pragma once

#include <gtest/gtest.h>
#include <mosquitto.h>

#include "mqtt/ClientConfig.h"
#include "mqtt/ClientWrappers.h"
#include "support/CaptureOutput.h"
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
  }
  ~ConnectedClient() {
    CapturedOutput output;
    mosquitto_disconnect(cfg_.mosq);
    mosquitto_loop_stop(cfg_.mosq, true);
    Mosquitto_Cleanup(cfg_);
    cfg_.status = 0;
    cfg_.connected = false;
    output.Out();
  }
  ConnectedClient(const ConnectedClient&) = delete;
  ConnectedClient(ConnectedClient&&) = delete;
  ConnectedClient& operator=(const ConnectedClient&) = delete;
  ConnectedClient& operator=(ConnectedClient&&) = delete;

 private:
  ClientConfig& cfg_;
};

}  // namespace datacollector
