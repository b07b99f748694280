#include "app/Signals.h"

#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "app/ProcessHandler.h"
#include "app/ground/FileLogger.h"
#include "app/ground/Shell.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

struct SignalRow {
  int signal;
  const char* name;
  bool endsProcess;
};

constexpr std::array<SignalRow, 3> kSignals = {{
    {SIGINT, "SIGINT", true},
    {SIGTERM, "SIGTERM", true},
    {SIGBUS, "SIGBUS", false},
}};

// What an unread standard output may cost of the second in which the process ends.
constexpr std::chrono::milliseconds kLastWords{500};

// Set by the handler, taken by the signal thread, which `wakeUp` wakes.
std::array<std::atomic<bool>, kSignals.size()> pending;
std::atomic<bool> memoryFault;
sem_t wakeUp;
pthread_t signalThread;

// For a thread that must not return into the instruction that failed.
[[noreturn]] void StayHere() {
  for (;;) {
    ::pause();
  }
}

// Runs on whatever thread the system picks, between any two of its instructions: only what is safe there.
// A memory fault never returns into its instruction: the thread stays here until the process has ended.
void HandleSignal(int signal, siginfo_t* info, void* /*context*/) {
  const int before = errno;
  const bool fault = signal == SIGBUS && info->si_code > 0;
  if (fault && ::pthread_equal(::pthread_self(), signalThread) != 0) {
    ::signal(SIGBUS, SIG_DFL);
    return;
  }
  if (fault) {
    memoryFault = true;
  }
  for (std::size_t index = 0; index < kSignals.size(); ++index) {
    if (kSignals[index].signal == signal) {
      pending[index] = true;
    }
  }
  ::sem_post(&wakeUp);
  if (fault) {
    StayHere();
  }
  errno = before;
}

void Report(const SignalRow& row) {
  Print("DataCollector %s\n", row.name);
  WriteLog("DataCollector: %s", row.name);
}

// Ends the process at once: the other threads may hang, so nothing waits for them.
[[noreturn]] void EndProcess(const SignalRow& row) {
  LimitTraceOfThisThread(std::chrono::steady_clock::now() + kLastWords);
  FlushTrace();
  Report(row);
  CloseUnixDomainSocket();
  StopShellCommands();
  FlushTrace();
  ::_exit(EXIT_SUCCESS);
}

// As the system ends a process with a memory fault.
[[noreturn]] void EndByMemoryFault(const SignalRow& row) {
  LimitTraceOfThisThread(std::chrono::steady_clock::now() + kLastWords);
  Report(row);
  FlushTrace();
  ::signal(SIGBUS, SIG_DFL);
  ::raise(SIGBUS);
  std::abort();
}

void ActOn(const SignalRow& row) {
  if (row.endsProcess) {
    EndProcess(row);
  }
  if (memoryFault) {
    EndByMemoryFault(row);
  }
  Report(row);
  FlushTrace();
}

void* SignalThread(void* /*unused*/) {
  for (;;) {
    if (::sem_wait(&wakeUp) != 0) {
      continue;
    }
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
      if (pending[index].exchange(false)) {
        ActOn(kSignals[index]);
      }
    }
  }
}

void InstallOne(const SignalRow& row, SignalInstaller install) {
  struct sigaction action {};
  action.sa_sigaction = HandleSignal;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  ::sigemptyset(&action.sa_mask);
  if (install(row.signal, &action, nullptr) != 0) {
    Print("Failed to handle %s", row.name);
    WriteLog("DataCollector: Failed to handle %s", row.name);
  }
}

}  // namespace

void InstallSignalHandlers(SignalInstaller install) {
  const FunctionTrace trace(__func__);
  ::signal(SIGPIPE, SIG_IGN);
  ::sem_init(&wakeUp, 0, 0);
  // The signal thread inherits the open mask, every later thread the one that leaves the ending to it. SIGBUS
  // stays open everywhere: a memory fault in a thread that blocks it would end the process without a word.
  ::pthread_create(&signalThread, nullptr, SignalThread, nullptr);
  sigset_t ending;
  ::sigemptyset(&ending);
  ::sigaddset(&ending, SIGINT);
  ::sigaddset(&ending, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  for (const SignalRow& row : kSignals) {
    InstallOne(row, install);
  }
}

}  // namespace datacollector
