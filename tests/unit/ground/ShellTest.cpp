#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "ground/Shell.h"
#include "ground/Trace.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace {

// How long a start takes behind the moment at which the command runs.
std::atomic<int> slowStart;  // milliseconds

}  // namespace

// In front of the C library's.
extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const arguments[],
                           char* const environment[]) {
  static const auto real = reinterpret_cast<decltype(&posix_spawn)>(::dlsym(RTLD_NEXT, "posix_spawn"));
  const int error = real(child, path, actions, attributes, arguments, environment);
  std::this_thread::sleep_for(std::chrono::milliseconds(slowStart));
  return error;
}

namespace datacollector {
namespace {

class Shell : public ::testing::Test {
 protected:
  Shell() {
    std::string pattern = ::testing::TempDir() + "shellXXXXXX";
    folder_ = ::mkdtemp(pattern.data());
  }
  ~Shell() override { std::filesystem::remove_all(folder_); }

  std::string PathOf(const std::string& name) const { return folder_ + "/" + name; }

  // Waits until a command has written a whole line to a file.
  bool WaitForLine(const std::string& name) const {
    return WaitUntil([&] { return ReadFile(PathOf(name)).ends_with('\n'); });
  }

 private:
  std::string folder_;
};

bool ExitedWith(int status, int code) { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
bool EndedBySignal(int status, int signal) { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }

TEST_F(Shell, ReturnsTheWaitStatusOfTheCommand) {
  EXPECT_TRUE(ExitedWith(RunShellCommand("exit 0"), 0));
  EXPECT_TRUE(ExitedWith(RunShellCommand("exit 7"), 7));
  EXPECT_TRUE(EndedBySignal(RunShellCommand("kill -KILL $$"), SIGKILL));
}

TEST_F(Shell, WaitsForTheEndOfTheCommand) {
  RunShellCommand(("echo one >" + PathOf("file") + "; echo two >>" + PathOf("file")).c_str());
  EXPECT_EQ(ReadFile(PathOf("file")), "one\ntwo\n");
}

TEST_F(Shell, WhatWasPrintedBeforeStandsBeforeTheCommandsOwnOutput) {
  CapturedOutput output;
  Print("before ");
  RunShellCommand("echo command");
  Print("after");
  EXPECT_EQ(output.Out(), "before command\nafter");
}

// The daemon's socket, its broker connection and its databases must not outlive it in a command.
TEST_F(Shell, TheCommandInheritsTheStandardStreamsAlone) {
  const int low = ::open("/dev/null", O_RDONLY);
  const int high = ::fcntl(low, F_DUPFD, 200);
  ASSERT_GE(high, 200);
  CapturedOutput output;
  RunShellCommand(
      "for descriptor in /proc/$$/fd/*; do [ -e \"$descriptor\" ] && echo ${descriptor##*/}; done");
  ::close(low);
  ::close(high);
  EXPECT_EQ(output.Out(), "0\n1\n2\n");
}

TEST_F(Shell, TheCommandTakesSignalsAsIfTheDaemonHadNoHandlers) {
  ::signal(SIGPIPE, SIG_IGN);
  sigset_t ending;
  ::sigemptyset(&ending);
  ::sigaddset(&ending, SIGTERM);
  ::sigaddset(&ending, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  const int term = RunShellCommand("kill -TERM $$; exit 7");
  const int pipe = RunShellCommand("kill -PIPE $$; exit 7");
  ::pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
  ::signal(SIGPIPE, SIG_DFL);
  EXPECT_TRUE(EndedBySignal(term, SIGTERM)) << term;
  EXPECT_TRUE(EndedBySignal(pipe, SIGPIPE)) << pipe;
}

// Dead, though perhaps still to be reaped by whoever has inherited it. `processId` is a line; false for an
// empty text.
bool IsDead(const std::string& processId) {
  std::ifstream file("/proc/" + processId.substr(0, processId.find('\n')) + "/stat");
  std::string stat;
  std::getline(file, stat);  // nothing, too, of a process that ends while it is read
  return stat.empty() || stat.find(") Z ") != std::string::npos;
}

// Runs `body` as the thread that ends a process does: in a process of its own, which stopping changes for
// good.
template <typename Body>
bool HoldsInEndingProcess(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    try {
      ::_exit(body() ? 0 : 1);
    } catch (const std::exception& error) {
      PrintError("%s\n", error.what());
    }
    ::_exit(2);  // must not go on with the tests of the process that it was forked from
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return ExitedWith(status, 0);
}

TEST_F(Shell, ARunningCommandIsStopped) {
  EXPECT_TRUE(HoldsInEndingProcess([this] {
    std::thread([this] {
      RunShellCommand(("echo $$ >" + PathOf("started") + "; exec sleep 1000").c_str());
    }).detach();
    const bool started = WaitForLine("started");
    StopShellCommands();
    return started && WaitUntil([this] { return IsDead(ReadFile(PathOf("started"))); });
  }));
}

// The command runs before the thread that starts it knows: it must not outlive the process.
TEST_F(Shell, ACommandThatIsJustBeingStartedIsStopped) {
  EXPECT_TRUE(HoldsInEndingProcess([this] {
    slowStart = 100;
    std::thread([this] {
      RunShellCommand(("echo $$ >" + PathOf("started") + "; exec sleep 1000").c_str());
    }).detach();
    const bool started = WaitForLine("started");
    StopShellCommands();
    return started;
  }));
  EXPECT_TRUE(WaitUntil([this] { return IsDead(ReadFile(PathOf("started"))); }));
}

TEST_F(Shell, WhatTheCommandStartedIsStoppedWithIt) {
  EXPECT_TRUE(HoldsInEndingProcess([this] {
    std::thread([this] {
      RunShellCommand(("sleep 1000 & echo $! >" + PathOf("child") + "; wait").c_str());
    }).detach();
    const bool started = WaitForLine("child");
    StopShellCommands();
    return started && WaitUntil([this] { return IsDead(ReadFile(PathOf("child"))); });
  }));
}

// A thread that went on would print, log and start further commands behind the process's last words.
TEST_F(Shell, NoThreadGoesOnOrStartsACommandOnceTheyAreStopped) {
  EXPECT_TRUE(HoldsInEndingProcess([this] {
    std::atomic<int> wentOn = 0;
    std::atomic<bool> asked = false;
    std::thread([&] {
      RunShellCommand(("echo $$ >" + PathOf("first") + "; exec sleep 1000").c_str());
      ++wentOn;
    }).detach();
    const bool started = WaitForLine("first");
    StopShellCommands();
    std::thread([&] {
      asked = true;
      RunShellCommand(("echo >" + PathOf("second")).c_str());
      ++wentOn;
    }).detach();
    const bool over = WaitUntil([&] { return asked && IsDead(ReadFile(PathOf("first"))); });
    return started && over && wentOn == 0 && !std::filesystem::exists(PathOf("second"));
  }));
}

TEST_F(Shell, MoreCommandsThanCanBeStoppedRunAllTheSame) {
  std::array<int, 6> statuses{};
  std::vector<std::thread> runners;
  for (std::size_t index = 0; index < statuses.size(); ++index) {
    runners.emplace_back([this, &statuses, index] {
      const std::string mine = PathOf("started" + std::to_string(index));
      const std::string go = PathOf("go");
      statuses[index] = RunShellCommand(
          ("echo >" + mine + "; while [ ! -e " + go + " ]; do sleep 0.01; done; exit 5").c_str());
    });
  }
  for (std::size_t index = 0; index < statuses.size(); ++index) {
    EXPECT_TRUE(WaitForLine("started" + std::to_string(index)));
  }
  WriteFile(PathOf("go"), "");
  for (std::thread& runner : runners) {
    runner.join();
  }
  for (const int status : statuses) {
    EXPECT_TRUE(ExitedWith(status, 5)) << status;
  }
}

TEST_F(Shell, ASignalDuringTheWaitDoesNotEndIt) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int /*signal*/) {};
  ::sigaction(SIGUSR1, &action, &before);
  ASSERT_EQ(::mkfifo(PathOf("fifo").c_str(), 0600), 0);
  int status = 0;
  std::atomic<bool> done = false;
  std::thread runner([&] {
    const std::string command = "echo >" + PathOf("started") + "; read line <" + PathOf("fifo") + "; exit 4";
    status = RunShellCommand(command.c_str());
    done = true;
  });
  EXPECT_TRUE(WaitForLine("started"));
  for (int signals = 0; signals < 20; ++signals) {
    ::pthread_kill(runner.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  EXPECT_FALSE(done);
  WriteFile(PathOf("fifo"), "line\n");
  runner.join();
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(ExitedWith(status, 4)) << status;
}

}  // namespace
}  // namespace datacollector
