// The HTTP Send App: receives forwarded packets and confirms them as it was told to.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "Ledger.h"
#include "Options.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {

// The filter that takes in every kind's packets.
inline constexpr const char* kPacketFilter = "HTTPSend/+/Record";

class HttpSendApp {
 public:
  // Takes a confirmation of `packet` to the broker.
  using Publish = std::function<void(SourceKind kind, const Packet& packet, const char* topic,
                                     const std::string& payload)>;

  HttpSendApp(const Options& options, unsigned long run, Ledger& ledger, Publish publish);

  // Enters the packet in the ledger and decides about its confirmation. Packets of kinds that are not played
  // are left alone.
  void OnPacket(double now, std::string_view topic, std::string_view text);
  // Publishes the confirmations that are due.
  void Tick(double now);

  double NextDue() const;

 private:
  struct Confirmation {
    double due;
    SourceKind kind;
    Packet packet;
  };

  const Options& options_;
  unsigned long run_;
  Ledger& ledger_;
  Publish publish_;
  std::array<unsigned long, kSourceKinds> received_{};
  std::deque<Confirmation> waiting_;  // in order of arrival, and so of due time
};

}  // namespace datacollector::sim
