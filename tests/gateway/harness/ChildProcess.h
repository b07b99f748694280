// A process that a test starts, watches and ends.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "gateway/harness/Transcript.h"

namespace datacollector::gateway {

// A file descriptor that is closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int value = -1) : value_(value) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : value_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  int Get() const { return value_; }
  int Release();
  void Close();

 private:
  int value_;
};

class ChildProcess {
 public:
  enum class Output {
    kCollected,  // read as it comes
    kUnread,     // a pipe that is open and that nobody reads
    kToFile,     // a regular file
  };

  struct Options {
    std::string program;                     // path of the executable
    std::vector<std::string> arguments;      // argv, the name of the program included
    std::vector<std::string> environment{};  // "NAME=value", beside or in place of the test's own
    Output output = Output::kCollected;
    std::string outputFile{};  // for kToFile
  };

  // Starts the process. A process that can't be started is reported as a failure of the test, and as exited.
  explicit ChildProcess(const Options& options);

  // Kills the process when it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess(ChildProcess&&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ChildProcess& operator=(ChildProcess&&) = delete;

  pid_t Pid() const { return pid_; }
  // What was said on standard error before something was printed is there before that is.
  const Transcript& Out() const { return out_; }
  const Transcript& Err() const { return err_; }

  void Signal(int number) const;

  // Waits for the end of the process and returns its wait status; nothing when it still runs. Once it has
  // ended, both transcripts hold everything that it wrote.
  std::optional<int> WaitForExit(std::chrono::milliseconds patience = kPatience);

  // For kUnread: waits until the pipe takes no more; and closes it, so that writing to it is an error.
  bool WaitUntilPipeIsFull(std::chrono::milliseconds patience = kPatience) const;
  void ClosePipe();

  bool Running() { return !WaitForExit(std::chrono::milliseconds(0)); }

 private:
  void Start(const Options& options, int outTarget, int errTarget);

  pid_t pid_ = -1;
  Descriptor handle_;      // readable when the process has ended
  Descriptor unread_;      // the end of the pipe that nobody reads,
  Descriptor unreadFill_;  // and the other one, to ask whether there is room
  std::optional<int> status_;
  Transcript out_;
  Transcript err_;
  std::jthread reader_;  // of both
};

// Whether a wait status says: exited by itself with this code.
bool ExitedWith(const std::optional<int>& status, int code);

}  // namespace datacollector::gateway
