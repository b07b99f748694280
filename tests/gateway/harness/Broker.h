// The gateway's local MQTT broker: a mosquitto on 127.0.0.1:1883 that keeps nothing when it ends.
#pragma once

#include <csignal>
#include <memory>
#include <string>

#include "gateway/harness/ChildProcess.h"

namespace datacollector::gateway {

class Broker {
 public:
  // Starts the broker; returns when it accepts connections. A broker that doesn't start fails the test.
  // `settings` are further lines of its configuration: who may connect.
  void Start(const std::string& settings = "allow_anonymous true\n");

  // Ends the broker as a crash would, or in order.
  void Kill() { End(SIGKILL); }
  void Stop() { End(SIGTERM); }

  void Signal(int number) const { process_->Signal(number); }

  bool Running() const { return process_ != nullptr; }

  // The broker's own log of everything that it received and sent; only while it runs.
  const Transcript& Log() const { return process_->Err(); }

 private:
  void End(int signal);

  std::unique_ptr<ChildProcess> process_;
};

}  // namespace datacollector::gateway
