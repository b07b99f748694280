// What takes the place of the fixed pause where the operator has switched fast rounds on.
//
// With fast rounds the forwarding thread does not poll: whatever makes a kind due rings for it (RoundBell).
// So a pause as short as the operator's serves two ends only. It follows a round that has handed something
// over, and it is the time after which a kind whose hand-over has failed is tried again; it doubles with each
// further failure, up to a second, so that a broker that is away or a disk that fails is not pestered a
// hundred times a second, nor the log with it. A round that can do nothing would be the same as the one
// before it: it is followed by a second, which is how late the state of the WAN and what nobody rings for are
// noticed, as ever.
#pragma once

#include <array>
#include <cstdint>

#include "ground/SourceKind.h"
#include "mqtt/outbound/SendOutcome.h"

namespace datacollector {

// Forwarding thread. Times are milliseconds of the monotonic clock.
class FastPacing {
 public:
  static constexpr std::int32_t kLongestPause = 1000;

  // Whether a kind's last hand-over has failed and its time has not come yet.
  bool HoldsBack(SourceKind kind, std::int64_t now) const { return now < trials_[kind].from; }

  // What the visit to a kind has come to.
  void Note(SourceKind kind, SendOutcome outcome, std::int32_t shortestPause, std::int64_t now);

  // How long the next round may be waited for. Begins the next one's account.
  std::int32_t TakePause(std::int32_t shortestPause, std::int64_t now);

 private:
  // After a failure; zero when there was none.
  struct Trial {
    std::int32_t pause;
    std::int64_t from;
  };
  std::array<Trial, kSourceKinds> trials_{};
  bool handedOver_ = false;  // in this round
};

}  // namespace datacollector
