#include "ground/Shell.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>

#include "ground/Trace.h"

namespace datacollector {
namespace {

// Process groups of the commands that are running, 0 where a place is free. Written by the threads that run a
// command (main, network, forwarding), read by the thread that ends the process. More places than threads
// that run one.
std::array<std::atomic<pid_t>, 4> runningGroups;

// Set by the thread that ends the process: no command is started or answered any more.
std::atomic<bool> stopping;

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

// Only what is safe between fork and exec in a process with threads.
void CloseInheritedDescriptors() {
#ifdef SYS_close_range
  if (::syscall(SYS_close_range, STDERR_FILENO + 1, UINT_MAX, 0) == 0) {
    return;
  }
#endif
  const long limit = ::sysconf(_SC_OPEN_MAX);
  for (int descriptor = STDERR_FILENO + 1; descriptor < limit; ++descriptor) {
    ::close(descriptor);
  }
}

void DefaultSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGBUS, SIGPIPE}) {
    ::signal(signal, SIG_DFL);
  }
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void ExecuteInChild(const char* command) {
  ::setpgid(0, 0);
  DefaultSignals();
  CloseInheritedDescriptors();
  ::execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  ::_exit(127);
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
  StayIfStopping();
  const pid_t child = ::fork();
  if (child == 0) {
    ExecuteInChild(command);
  }
  if (child < 0) {
    return -1;
  }
  ::setpgid(child, child);  // also here: the group exists before this thread can be asked to end it
  std::atomic<pid_t>* place = TakePlace(child);
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
  for (const std::atomic<pid_t>& place : runningGroups) {
    if (const pid_t group = place; group > 0) {
      ::kill(-group, SIGTERM);
    }
  }
}

}  // namespace datacollector
