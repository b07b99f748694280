// The application that delivers to the backend, as the daemon sees it: it takes the packets and confirms
// them.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "gateway/harness/Kinds.h"
#include "gateway/harness/Peer.h"

namespace datacollector::gateway {

struct Packet {
  SourceKind kind;
  std::string text;
  std::vector<std::string> values;

  const std::string& ReadTime() const { return values.at(2); }
  int Number() const { return std::stoi(values.at(3)); }
  int Request() const { return std::stoi(values.at(4)); }
};

class HttpSendApp {
 public:
  // The status that it reports for a packet at once; below 0: it says nothing.
  using Answer = std::function<int(const Packet&)>;

  static int Delivered(const Packet& /*packet*/) { return 1; }
  static int Silent(const Packet& /*packet*/) { return -1; }

  explicit HttpSendApp(Answer answer = Delivered);

  void Set(Answer answer);

  // Reports a status for a packet now. May be called from anywhere.
  void Confirm(const Packet& packet, int status = 1);

  // All packets so far of a kind, in the order of their arrival.
  std::vector<Packet> Packets(SourceKind kind) const;

  bool WaitForPackets(SourceKind kind, std::size_t count,
                      std::chrono::milliseconds patience = kPatience) const;

  // The `index`th packet of a kind, counted from 0; waits for it. A packet that doesn't come fails the test.
  Packet WaitForPacket(SourceKind kind, std::size_t index) const;

  Peer& Connection() { return peer_; }

  // What it reports about a packet.
  static std::string Confirmation(const Packet& packet, int status);

 private:
  void Handle(const Message& message);

  std::mutex mutex_;  // protects answer_
  Answer answer_;
  Peer peer_;
};

// The time at which HttpSendApp reports everything delivered.
inline constexpr const char* kDeliveryTime = "2026-11-20 10:00:05";

}  // namespace datacollector::gateway
