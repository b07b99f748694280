#include "gateway/harness/Broker.h"

#include <gtest/gtest.h>

#include <fstream>

namespace datacollector::gateway {
namespace {

constexpr const char* kConfigFile = "/tmp/mosquitto.conf";

constexpr const char* kConfig =
    "listener 1883 127.0.0.1\n"
    "persistence false\n"
    "user root\n"
    "set_tcp_nodelay true\n"
    "max_queued_messages 0\n"
    "log_dest stderr\n"
    "log_type all\n";

}  // namespace

void Broker::Start(const std::string& settings) {
  std::ofstream(kConfigFile) << kConfig << settings;
  process_ = std::make_unique<ChildProcess>(
      ChildProcess::Options{.program = "/usr/sbin/mosquitto", .arguments = {"mosquitto", "-c", kConfigFile}});
  // Printed after the listener has been opened.
  ASSERT_TRUE(Log().WaitFor(" running\n")) << Log().All();
}

void Broker::End(int signal) {
  process_->Signal(signal);
  EXPECT_TRUE(process_->WaitForExit());
  process_.reset();
}

}  // namespace datacollector::gateway
