// Whoever stores a flood of AIO records in a ring: in turns, each in a database of its own.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "daemon/WatchedProcess.h"

namespace datacollector::bench {

class Rival {
 public:
  Rival() = default;
  Rival(const Rival&) = delete;
  Rival(Rival&&) = delete;
  Rival& operator=(const Rival&) = delete;
  Rival& operator=(Rival&&) = delete;
  virtual ~Rival() = default;

  virtual const char* Name() const = 0;

  // Returns the seconds until the last one was stored.
  virtual double Store(int records) = 0;

  virtual Usage Used() const = 0;

  // In kB; 0 where it has no process of its own.
  virtual int PeakMemory() const { return 0; }

  // Ends it, and the benchmark with it if its ring does not hold the newest records, one row each.
  virtual void Check() {}
};

// In the order of their turns: the two bare loops, the daemon and, if wanted, the script. The databases lie
// in `folder`.
std::vector<std::unique_ptr<Rival>> MakeRivals(const std::string& folder, int rows,
                                               const LoadedBroker& broker, bool withScript);

}  // namespace datacollector::bench
