#include "SourceApps.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "Kinds.h"
#include "Ledger.h"
#include "Options.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

constexpr double kMostSecondsBehind = 1.0;
// Records of a kind that the broker has not taken over yet; more wait their turn here.
constexpr unsigned long kMostUnderWay = 500;

}  // namespace

SourceApps::SourceApps(const Options& options, unsigned long run, Ledger& ledger, Publish publish)
    : options_(options), run_(run), ledger_(ledger), publish_(std::move(publish)) {}

void SourceApps::Start(double now) {
  started_ = now;
  const double step = 1.0 / options_.rate / static_cast<double>(options_.kinds.size());
  double due = now;
  for (const SourceKind kind : options_.kinds) {
    due_[kind] = due;
    due += step;
  }
}

void SourceApps::Tick(double now) {
  if (paused_ || Done(now)) {
    return;
  }
  for (const SourceKind kind : options_.kinds) {
    due_[kind] = std::max(due_[kind], now - kMostSecondsBehind);
    while (due_[kind] <= now && !CountReached(kind)) {
      const KindCounts& counts = ledger_.Counts(kind);
      if (counts.offered - counts.published >= kMostUnderWay) {
        break;
      }
      PublishOne(kind);
      due_[kind] += 1.0 / options_.rate;
    }
  }
}

void SourceApps::PublishOne(SourceKind kind) {
  const KindProfile& profile = ProfileOf(kind);
  const unsigned long number = ledger_.Offer(kind);
  const std::size_t meters =
      std::clamp<std::size_t>(options_.meters, 1, std::max<std::size_t>(profile.maxMeters, 1));
  const std::size_t lines =
      std::clamp<std::size_t>(options_.lines, 1, std::max<std::size_t>(profile.maxLines, 1));
  const std::size_t turn = (number - 1) % (meters * lines);
  const PayloadValues values{number, run_, turn % meters + 1, turn / meters + 1, LocalTimeText()};
  const bool alarm =
      options_.alarmEvery != 0 && number % options_.alarmEvery == 0 && *profile.alarmTopic != '\0';
  publish_(kind, alarm ? profile.alarmTopic : profile.recordTopic, MakePayload(profile, values));
}

bool SourceApps::CountReached(SourceKind kind) const {
  return options_.count != 0 && ledger_.Counts(kind).offered >= options_.count;
}

void SourceApps::Pause(double now) {
  if (!paused_) {
    paused_ = true;
    pausedAt_ = now;
  }
}

void SourceApps::Resume(double now) {
  if (!paused_) {
    return;
  }
  paused_ = false;
  started_ += now - pausedAt_;
  for (double& due : due_) {
    due += now - pausedAt_;
  }
}

bool SourceApps::Done(double now) const {
  if (options_.seconds > 0.0 && (paused_ ? pausedAt_ : now) - started_ >= options_.seconds) {
    return true;
  }
  return std::all_of(options_.kinds.begin(), options_.kinds.end(),
                     [this](SourceKind kind) { return CountReached(kind); });
}

double SourceApps::NextDue() const {
  double next = std::numeric_limits<double>::infinity();
  for (const SourceKind kind : options_.kinds) {
    if (!paused_ && !CountReached(kind)) {
      next = std::min(next, due_[kind]);
    }
  }
  return next;
}

}  // namespace datacollector::sim
