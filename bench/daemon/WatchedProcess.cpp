#include "daemon/WatchedProcess.h"

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <fstream>
#include <thread>
#include <utility>

namespace datacollector::bench {
namespace {

constexpr std::chrono::minutes kPatience{5};

// Above any pause of a process that has records left to store on a loaded machine.
constexpr std::chrono::milliseconds kQuiet{1500};

double CpuSeconds(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

ChildProcess::Options BrokerOptions() {
  std::ofstream("/tmp/broker.conf") << "listener 1883 127.0.0.1\nallow_anonymous true\nuser root\n"
                                       "max_queued_messages 0\nset_tcp_nodelay true\n"
                                       "log_dest stderr\nlog_type error\nlog_type information\n"
                                       "log_type subscribe\n";
  return {.program = "/usr/sbin/mosquitto", .arguments = {"mosquitto", "-c", "/tmp/broker.conf"}};
}

ChildProcess::Options WatchedOptions(const std::string& program, std::vector<std::string> arguments,
                                     const std::string& counter) {
  arguments.insert(arguments.begin(), program);
  return {.program = program,
          .arguments = std::move(arguments),
          .environment = {"LD_PRELOAD=" WRITE_COUNTING_LIBRARY, "WRITE_COUNT_FILE=" + counter},
          .output = ChildProcess::Output::kToFile,
          .outputFile = "/dev/null"};
}

std::string NewCounterFile() {
  static int counters = 0;
  return "/tmp/writes." + std::to_string(++counters);
}

FileTime ChangeTime(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return {};
  }
  return FileTime(std::chrono::seconds(status.st_mtim.tv_sec) +
                  std::chrono::nanoseconds(status.st_mtim.tv_nsec));
}

FileTime LatestChange(const std::vector<std::string>& databases) {
  FileTime latest;
  for (const std::string& database : databases) {
    latest = std::max({latest, ChangeTime(database), ChangeTime(database + "-wal")});
  }
  return latest;
}

}  // namespace

Usage operator-(const Usage& after, const Usage& before) {
  return {after.cpuSeconds - before.cpuSeconds,
          {after.writes.syncs - before.writes.syncs, after.writes.bytes - before.writes.bytes}};
}

Usage OwnUsage() { return {CpuSeconds(CLOCK_PROCESS_CPUTIME_ID), WritesSoFar()}; }

LoadedBroker::LoadedBroker() : process_(BrokerOptions()) {
  if (!process_.Err().WaitFor(" running\n")) {
    Fail("the broker does not start");
  }
}

void LoadedBroker::WaitForSubscriber(const std::string& topic) const {
  if (!process_.Err().WaitFor(" " + topic + "\n")) {
    Fail("nobody subscribes to " + topic);
  }
}

WatchedProcess::WatchedProcess(const std::string& program, std::vector<std::string> arguments)
    : counter_(NewCounterFile()), process_(WatchedOptions(program, std::move(arguments), counter_)) {}

Usage WatchedProcess::Used() const {
  clockid_t clock = 0;
  if (::clock_getcpuclockid(process_.Pid(), &clock) != 0) {
    Fail("a process has ended: " + process_.Err().All());
  }
  Writes writes{};
  std::ifstream(counter_, std::ios::binary).read(reinterpret_cast<char*>(&writes), sizeof writes);
  return {CpuSeconds(clock), writes};
}

int WatchedProcess::PeakMemory() const {
  std::ifstream file("/proc/" + std::to_string(process_.Pid()) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmHWM:")) {
      return std::stoi(line.substr(line.find_first_of("0123456789")));
    }
  }
  Fail("a process has ended: " + process_.Err().All());
}

void WatchedProcess::End() {
  process_.Signal(SIGTERM);
  if (!process_.WaitForExit()) {
    Fail("a process does not end");
  }
}

std::unique_ptr<WatchedProcess> StartDaemon() {
  return std::make_unique<WatchedProcess>(DAEMON_PROGRAM, std::vector<std::string>{});
}

std::unique_ptr<WatchedProcess> StartScript(const std::string& name, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), DATACOLLECTOR_SOURCE_DIR "/bench/peers/" + name);
  return std::make_unique<WatchedProcess>("/usr/bin/python3", std::move(arguments));
}

FileTime WhenQuiet(const std::vector<std::string>& databases, FileTime start) {
  const FileTime deadline = std::chrono::system_clock::now() + kPatience;
  for (;;) {
    const FileTime latest = LatestChange(databases);
    const FileTime now = std::chrono::system_clock::now();
    if (latest > start && now - latest > kQuiet) {
      return latest;
    }
    if (now > deadline) {
      Fail("the databases never come to rest");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

}  // namespace datacollector::bench
