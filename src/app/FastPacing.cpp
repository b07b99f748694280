#include "app/FastPacing.h"

#include <algorithm>

namespace datacollector {

void FastPacing::Note(SourceKind kind, SendOutcome outcome, std::int32_t shortestPause, std::int64_t now) {
  Trial& trial = trials_[kind];
  if (outcome == SendOutcome::Failed) {
    trial.pause = std::clamp(2 * trial.pause, shortestPause, kLongestPause);
    trial.from = now + trial.pause;
  } else if (outcome != SendOutcome::HeldBack) {
    trial = {};
  }
  handedOver_ = handedOver_ || outcome == SendOutcome::HandedOver;
}

std::int32_t FastPacing::TakePause(std::int32_t shortestPause, std::int64_t now) {
  std::int64_t pause = handedOver_ ? shortestPause : kLongestPause;
  for (const Trial& trial : trials_) {
    if (trial.from > now) {
      pause = std::min(pause, trial.from - now);
    }
  }
  handedOver_ = false;
  return static_cast<std::int32_t>(pause);
}

}  // namespace datacollector
