// The source applications: publish each kind's records at the chosen rate.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "Ledger.h"
#include "Options.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {

class SourceApps {
 public:
  // Takes a record to the broker.
  using Publish = std::function<void(SourceKind kind, const char* topic, const std::string& payload)>;

  // Times are seconds of one monotonic clock; `run` is the tag of this run's records.
  SourceApps(const Options& options, unsigned long run, Ledger& ledger, Publish publish);

  // The kinds begin one after the other within the first period, so that they don't all publish at once.
  void Start(double now);
  // Publishes what is due. A backlog of more than a second is dropped from the schedule, not caught up with.
  void Tick(double now);

  // While paused nothing is due, and the publishing time stands still.
  void Pause(double now);
  void Resume(double now);
  bool Paused() const { return paused_; }

  // Whether the count or the time is used up.
  bool Done(double now) const;
  // When Tick is due next.
  double NextDue() const;

 private:
  void PublishOne(SourceKind kind);
  bool CountReached(SourceKind kind) const;

  const Options& options_;
  unsigned long run_;
  Ledger& ledger_;
  Publish publish_;
  std::array<double, kSourceKinds> due_{};
  double started_ = 0.0;
  double pausedAt_ = 0.0;
  bool paused_ = false;
};

}  // namespace datacollector::sim
