// For tests of the MQTT client by itself.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "ground/FileLogger.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/MessageDispatch.h"

namespace datacollector {

// Each test starts with nothing configured, an empty log and a client that nobody has made yet.
class BareClient : public ::testing::Test {
 protected:
  BareClient() {
    ZeroMainState(gMainState);
    std::filesystem::create_directories(kLogDirectory);
    std::filesystem::remove(kLogFile);
    cfg_->onMessage = on_message_callback;
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

}  // namespace datacollector
