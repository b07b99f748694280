// A process that handles the daemon's signals, and what it prints and logs.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include "app/Signals.h"

namespace datacollector {

// Far more than the process may take: how long it does take is tested with the whole daemon.
inline constexpr std::chrono::milliseconds kEndWithin{10000};

// A process that runs `body` after it has installed the handlers, and then waits for its signals.
class SignalledProcess {
 public:
  explicit SignalledProcess(int outputDescriptor, const std::function<void()>& body,
                            SignalInstaller install = ::sigaction);
  ~SignalledProcess();
  SignalledProcess(const SignalledProcess&) = delete;
  SignalledProcess(SignalledProcess&&) = delete;
  SignalledProcess& operator=(const SignalledProcess&) = delete;
  SignalledProcess& operator=(SignalledProcess&&) = delete;

  void Signal(int number) const;

  // The wait status; nothing when the process still runs after `patience`.
  std::optional<int> WaitForEnd(std::chrono::milliseconds patience);

 private:
  pid_t process_;
  std::optional<int> status_;
};

bool ExitedWith0(const std::optional<int>& status);

// Each test has an empty log and an empty file for what its process prints.
class Signals : public ::testing::Test {
 protected:
  static constexpr const char* kOutputFile = "/tmp/signal-output";

  Signals();
  ~Signals() override;

  // What the process printed behind the installation.
  static std::string Output();

  static bool WaitForLog(const std::string& text);

  int output_ = -1;
};

}  // namespace datacollector
