// The daemon's time of day in the hands of a test. What the daemon waits for goes by another clock, which is
// not touched.
//
// A daemon that is started with the environment below, and everything that it starts, asks libfaketime for
// the time, and libfaketime asks a file at each question: so the time may be changed while the daemon runs.
#pragma once

#include <string>
#include <vector>

namespace datacollector::gateway {

class FakeClock {
 public:
  // Stands still at `time`, as in "10:04:58", local time of a day.
  explicit FakeClock(const std::string& time) { StandAt(time); }

  void StandAt(const std::string& time) const;

  // Runs on from `time`, give or take a second.
  void RunFrom(const std::string& time) const;

  // What a process that goes by this clock must have in its environment.
  static std::vector<std::string> Environment();
};

}  // namespace datacollector::gateway
