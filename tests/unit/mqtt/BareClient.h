// For tests of the MQTT client by itself.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "app/ground/FileLogger.h"
#include "app/ground/MainState.h"
#include "mqtt/ClientConfig.h"

namespace datacollector {

// Each test starts with nothing configured, an empty log and a client that nobody has made yet.
class BareClient : public ::testing::Test {
 protected:
  BareClient() {
    ZeroMainState(gMainState);
    std::filesystem::create_directories(kLogDirectory);
    std::filesystem::remove(kLogFile);
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

}  // namespace datacollector
