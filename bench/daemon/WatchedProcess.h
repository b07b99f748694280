// What the benchmarks of whole processes share: a broker, the daemon or a script beside it, and what each
// asks of the machine. A failure ends the benchmark with a line on standard error.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Sqlite.h"
#include "WriteCounter.h"
#include "gateway/harness/ChildProcess.h"

namespace datacollector::bench {

using gateway::ChildProcess;

// What a process has used so far.
struct Usage {
  double cpuSeconds;  // user and system
  Writes writes;
};

Usage operator-(const Usage& after, const Usage& before);

// Of this process; its writes are those of WriteCounter.
Usage OwnUsage();

// A broker without a limit on queued messages.
class LoadedBroker {
 public:
  LoadedBroker();

  // Waits until somebody has subscribed to the topic.
  void WaitForSubscriber(const std::string& topic) const;

 private:
  ChildProcess process_;
};

class WatchedProcess {
 public:
  // Counts its syncs and the bytes that it writes to files. What it prints on standard output goes nowhere.
  WatchedProcess(const std::string& program, std::vector<std::string> arguments);

  Usage Used() const;

  // The most memory that it has had resident, in kB.
  int PeakMemory() const;

  // Ends it by SIGTERM.
  void End();

 private:
  std::filesystem::path counter_;
  ChildProcess process_;
};

std::unique_ptr<WatchedProcess> StartDaemon();

// A script of bench/peers.
std::unique_ptr<WatchedProcess> StartScript(const std::string& name, std::vector<std::string> arguments);

using FileTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// Waits until these databases have changed after `start` and then not for a while, and returns when they last
// did. Nobody's database is opened for it.
FileTime WhenQuiet(const std::vector<std::string>& databases, FileTime start);

// The number in the middle; of an even count, the upper of the two.
double Median(std::vector<double> values);

}  // namespace datacollector::bench
