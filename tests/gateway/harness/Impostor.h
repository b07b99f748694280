// Something that answers on the broker's port and is no broker.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "gateway/harness/ChildProcess.h"
#include "gateway/harness/Deadline.h"

namespace datacollector::gateway {

class Impostor {
 public:
  using Bytes = std::vector<std::uint8_t>;

  // Listens on 127.0.0.1:1883 until it is destroyed; the broker must not run. A port that is taken fails the
  // test.
  Impostor();

  // Waits for a client that introduces itself with a CONNECT packet, answers with these packets and waits
  // until the client has hung up. False when that has not happened in time.
  bool Answer(const std::vector<Bytes>& packets, std::chrono::milliseconds patience = kPatience) const;

 private:
  Descriptor listener_;
};

}  // namespace datacollector::gateway
