// What the benchmarks of the whole daemon share: a broker, the daemon's growing trace, and its use of the
// machine. A failure ends the benchmark with a line on standard error.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "gateway/harness/ChildProcess.h"

namespace datacollector::gateway {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Fail(const std::string& what);

double SecondsSince(Clock::time_point start);

// Starts a broker without a limit on queued messages; returns when it accepts connections.
std::unique_ptr<ChildProcess> StartBroker();

// Starts the daemon with its trace in kTraceFile; returns when its main loop runs. `preload`: a library to
// load first, may be empty.
inline constexpr const char* kTraceFile = "/tmp/stdout";
std::unique_ptr<ChildProcess> StartDaemon(const std::string& program, const std::string& preload);

// Counts a text in a file that grows: always the same text.
class GrowingFile {
 public:
  explicit GrowingFile(std::string path) : path_(std::move(path)) {}

  std::size_t Count(const std::string& text);

  // Waits up to five minutes.
  void WaitFor(const std::string& text, std::size_t count);

 private:
  std::string path_;
  std::size_t read_ = 0;
  std::string tail_;
  std::size_t count_ = 0;
};

// User and system time that the process has used, in seconds, in steps of a clock tick.
double ProcessCpuSeconds(pid_t pid);

// The most memory that the process has had resident, with its unit.
std::string PeakMemory(pid_t pid);

}  // namespace datacollector::gateway
