#include "ground/Shell.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <thread>

#include "ground/Trace.h"

namespace datacollector {
namespace {

// Process groups of the commands that are running, 0 where a place is free. Written by the threads that run a
// command (main, network, forwarding), read by the thread that ends the process. More places than threads
// that run one.
std::array<std::atomic<pid_t>, 4> runningGroups;

// Set by the thread that ends the process: no command is started or answered any more.
std::atomic<bool> stopping;

// Threads that are starting a command, which may run already and has no place yet. Written by them, read by
// the thread that ends the process, which waits for them, but not for long: a start takes some milliseconds.
std::atomic<int> starting;
constexpr int kLongestStart = 200;  // milliseconds

// The calling thread has nothing more to do: the process is about to end.
void StayIfStopping() {
  while (stopping) {
    ::pause();
  }
}

std::atomic<pid_t>* TakePlace(pid_t group) {
  for (std::atomic<pid_t>& place : runningGroups) {
    pid_t free = 0;
    if (place.compare_exchange_strong(free, group)) {
      return &place;
    }
  }
  return nullptr;
}

// No command inherits a descriptor but the standard streams, whoever opened it.
void KeepDescriptorsFromCommands() {
#ifdef SYS_close_range
  constexpr unsigned kOnExec = 4;  // CLOSE_RANGE_CLOEXEC, which older headers lack
  if (::syscall(SYS_close_range, STDERR_FILENO + 1, UINT_MAX, kOnExec) == 0) {
    return;
  }
#endif
  const long limit = ::sysconf(_SC_OPEN_MAX);
  for (int descriptor = STDERR_FILENO + 1; descriptor < limit; ++descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
}

// How a command starts: as the first of a process group, with the signals as a shell expects them.
class StartAttributes {
 public:
  StartAttributes() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    for (const int signal : {SIGINT, SIGTERM, SIGBUS, SIGPIPE}) {
      ::sigaddset(&signals, signal);
    }
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~StartAttributes() { ::posix_spawnattr_destroy(&attributes_); }
  StartAttributes(const StartAttributes&) = delete;
  StartAttributes(StartAttributes&&) = delete;
  StartAttributes& operator=(const StartAttributes&) = delete;
  StartAttributes& operator=(StartAttributes&&) = delete;

  const posix_spawnattr_t* Get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

// The command's process, or -1. Not by fork: to copy a process of some megabytes for each command takes
// longer than a small command itself.
pid_t Start(const char* command) {
  std::array<char, 3> name = {"sh"};
  std::array<char, 3> option = {"-c"};
  const std::array<char*, 4> arguments = {name.data(), option.data(), const_cast<char*>(command), nullptr};
  const StartAttributes attributes;
  KeepDescriptorsFromCommands();
  pid_t child = -1;
  const int error = ::posix_spawn(&child, "/bin/sh", nullptr, attributes.Get(), arguments.data(), environ);
  return error == 0 ? child : -1;
}

// Leaves the ended process to be reaped: until then nobody else gets its number.
void AwaitEnd(pid_t child) {
  siginfo_t end{};
  while (::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
}

}  // namespace

int RunShellCommand(const char* command) {
  FlushTrace();
  ++starting;
  const pid_t child = stopping ? -1 : Start(command);
  std::atomic<pid_t>* place = child < 0 ? nullptr : TakePlace(child);
  --starting;
  if (child < 0) {
    StayIfStopping();
    return -1;
  }
  if (stopping) {
    ::kill(-child, SIGTERM);
  }
  AwaitEnd(child);
  StayIfStopping();
  if (place != nullptr) {
    place->store(0);
  }
  int status = 0;
  return ::waitpid(child, &status, 0) == child ? status : -1;
}

void StopShellCommands() {
  stopping = true;
  for (int waited = 0; starting != 0 && waited < kLongestStart; ++waited) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (const std::atomic<pid_t>& place : runningGroups) {
    if (const pid_t group = place; group > 0) {
      ::kill(-group, SIGTERM);
    }
  }
}

}  // namespace datacollector
