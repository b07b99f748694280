// Faults that a test gives to a daemon that runs: calls that fail, disks that lie, and the record of what the
// daemon has changed on its disk.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "faults/preload/FaultControl.h"

namespace datacollector::faults {

inline constexpr std::uint32_t kForEver = std::numeric_limits<std::uint32_t>::max();

// A recorded change of the watched folder.
struct ChangeEntry {
  Change change{};
  std::uint64_t offset = 0;
  std::string path{};
  std::string secondPath{};
  std::string data{};
};

struct FailingCalls {
  std::uint32_t kinds = 0;  // of CallKind
  std::int32_t error = 0;   // an error number, kHalfWritten or kOnlyClaimed
  std::uint32_t first = 1;
  std::uint32_t last = kForEver;
  std::string ending{};  // only files whose names end so
};

// The nature of disks that lack something: shared memory maps, file locks.
inline const FailingCalls kNoSharedMemory = {.kinds = kMap, .error = ENODEV, .ending = "-shm"};
inline const FailingCalls kNoFileLocks = {.kinds = kLock, .error = EINVAL};

class Faults {
 public:
  // Watches `folder` in every program that is started with Environment().
  explicit Faults(const std::string& folder);
  ~Faults();
  Faults(const Faults&) = delete;
  Faults(Faults&&) = delete;
  Faults& operator=(const Faults&) = delete;
  Faults& operator=(Faults&&) = delete;

  // What a program must have in its environment; with the name of a planted fault, if any.
  static std::vector<std::string> Environment(const std::string& planted = "");

  // The calls of the disk's nature, which Heal leaves; and those of the moment.
  void Nature(const FailingCalls& calls) { Set(1, calls); }
  void Fail(const FailingCalls& calls) { Set(0, calls); }
  void Heal();

  // How many calls Fail has made fail, and how many it was asked about.
  std::uint32_t Failed() const;
  std::uint32_t Seen() const;

  // The time of day is this much later than it is; negative: earlier.
  void SetClock(std::chrono::seconds ahead) { control_->secondsAhead = ahead.count(); }

  // Who connects to the broker's port comes to this one instead. 0: to the broker.
  void SetBrokerPort(std::uint16_t port) { control_->brokerPort = port; }

  void Record(bool on);
  std::vector<ChangeEntry> Changes() const;

 private:
  void Set(std::size_t rule, const FailingCalls& calls);

  FaultControl* control_;
};

}  // namespace datacollector::faults
