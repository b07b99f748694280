// The gateway's local MQTT broker: a mosquitto on 127.0.0.1:1883 that keeps nothing when it ends.
#pragma once

#include <memory>

#include "gateway/harness/ChildProcess.h"

namespace datacollector::gateway {

class Broker {
 public:
  // Starts the broker; returns when it accepts connections. A broker that doesn't start fails the test.
  void Start();

  // Ends the broker as a crash would.
  void Kill();

  bool Running() const { return process_ != nullptr; }

  // The broker's own log of everything that it received and sent; only while it runs.
  const Transcript& Log() const { return process_->Err(); }

 private:
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace datacollector::gateway
