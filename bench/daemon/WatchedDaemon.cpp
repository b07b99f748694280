#include "daemon/WatchedDaemon.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

namespace datacollector::gateway {

void Fail(const std::string& what) {
  std::fprintf(stderr, "bench: %s\n", what.c_str());
  std::exit(EXIT_FAILURE);
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::unique_ptr<ChildProcess> StartBroker() {
  std::ofstream("/tmp/broker.conf") << "listener 1883 127.0.0.1\nallow_anonymous true\nuser "
                                       "root\nmax_queued_messages 0\nset_tcp_nodelay true\n";
  ChildProcess::Options options;
  options.program = "/usr/sbin/mosquitto";
  options.arguments = {"mosquitto", "-c", "/tmp/broker.conf"};
  auto broker = std::make_unique<ChildProcess>(options);
  if (!broker->Err().WaitFor("running", 0)) {
    Fail("the broker does not start");
  }
  return broker;
}

std::unique_ptr<ChildProcess> StartDaemon(const std::string& program, const std::string& preload) {
  ChildProcess::Options options;
  options.program = program;
  options.arguments = {"DataCollector"};
  if (!preload.empty()) {
    options.environment = {"LD_PRELOAD=" + preload};
  }
  options.output = ChildProcess::Output::kToFile;
  options.outputFile = kTraceFile;
  auto daemon = std::make_unique<ChildProcess>(options);
  GrowingFile(kTraceFile).WaitFor("ui8_CurrentMinute", 1);
  return daemon;
}

std::size_t GrowingFile::Count(const std::string& text) {
  std::ifstream file(path_, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(read_));
  const std::string added{std::istreambuf_iterator<char>(file), {}};
  read_ += added.size();
  std::string window = tail_ + added;
  std::size_t end = 0;
  for (std::size_t at = window.find(text); at != std::string::npos; at = window.find(text, end)) {
    ++count_;
    end = at + text.size();
  }
  tail_ = window.substr(std::max(end, window.size() - std::min(window.size(), text.size() - 1)));
  return count_;
}

void GrowingFile::WaitFor(const std::string& text, std::size_t count) {
  const Clock::time_point deadline = Clock::now() + std::chrono::minutes(5);
  while (Count(text) < count) {
    if (Clock::now() > deadline) {
      Fail("the daemon's trace never told '" + text + "' often enough");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

double ProcessCpuSeconds(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string word;
  for (int field = 1; field < 14; ++field) {
    file >> word;
  }
  double user = 0;
  double system = 0;
  file >> user >> system;
  return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::string PeakMemory(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("VmHWM:")) {
      return line.substr(line.find_first_not_of(": \t", 5));
    }
  }
  return "?";
}

}  // namespace datacollector::gateway
