// A bad line between the daemon and its broker: a forwarder that stalls, drips, or loses a connection without
// telling one of its ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <thread>

#include "gateway/harness/ChildProcess.h"

namespace datacollector::faults {

class Proxy {
 public:
  enum class End : std::uint8_t { Daemon, Broker };

  // Listens on 127.0.0.1 and forwards every connection to the broker's port, until it is destroyed.
  explicit Proxy(std::uint16_t port);

  // What this end sends isn't taken from it, for connections of now and later.
  void Stall(End sender, bool stalled = true);

  // Both ways this many bytes each hundredth of a second; 0: as fast as it goes.
  void Drip(std::size_t bytes);

  // Ends what is connected at this end, as by a line that is cut: the other end hears nothing of it, and what
  // it sends goes nowhere.
  void Cut(End told);

 private:
  struct Connection {
    gateway::Descriptor ends[2];  // by End; the one that was told is closed
  };
  void Run(const std::stop_token& stop);
  void Accept();
  void Forward(Connection& connection) const;
  bool Forward(Connection& connection, End sender) const;

  gateway::Descriptor listener_;
  std::mutex mutex_;  // protects everything below
  bool stalled_[2] = {};
  std::size_t drip_ = 0;
  std::list<Connection> connections_;
  std::jthread thread_;  // the last one: it uses the others
};

}  // namespace datacollector::faults
