#include "HttpSendApp.h"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "Kinds.h"
#include "Ledger.h"
#include "Options.h"
#include "ground/KindShape.h"

namespace datacollector::sim {

HttpSendApp::HttpSendApp(const Options& options, unsigned long run, Ledger& ledger, Publish publish)
    : options_(options), run_(run), ledger_(ledger), publish_(std::move(publish)) {}

void HttpSendApp::OnPacket(double now, std::string_view topic, std::string_view text) {
  const auto kind = KindOfPacketTopic(topic);
  if (!kind || std::find(options_.kinds.begin(), options_.kinds.end(), *kind) == options_.kinds.end()) {
    return;
  }
  Packet packet;
  const bool confirmable = ParsePacket(ProfileOf(*kind), text, run_, packet);
  ledger_.HandedOver(*kind, packet);
  const bool dropped = options_.dropEvery != 0 && ++received_[*kind] % options_.dropEvery == 0;
  if (confirmable && options_.confirm && !dropped) {
    waiting_.push_back({now + static_cast<double>(options_.delayMilliseconds) / 1000.0, *kind, packet});
  }
}

void HttpSendApp::Tick(double now) {
  while (!waiting_.empty() && waiting_.front().due <= now) {
    const auto& [due, kind, packet] = waiting_.front();
    const std::string payload = std::string(kKindIndexWord[kind]) + ',' + packet.readTime + ',' +
                                packet.recordNumberText + ',' + std::to_string(options_.status) + ',' +
                                LocalTimeText();
    publish_(kind, packet, ProfileOf(kind).statusTopic, payload);
    waiting_.pop_front();
  }
}

double HttpSendApp::NextDue() const {
  return waiting_.empty() ? std::numeric_limits<double>::infinity() : waiting_.front().due;
}

}  // namespace datacollector::sim
