#include "app/Signals.h"

#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "app/ProcessHandler.h"
#include "ground/FileLogger.h"
#include "ground/Notices.h"
#include "ground/Shell.h"
#include "ground/Trace.h"

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

// What an unread standard output may cost of the second in which the process ends, and what the report of a
// signal that does not end it may cost.
constexpr std::chrono::milliseconds kLastWords{500};
constexpr std::chrono::milliseconds kOneReport{200};

// When the process ends at the latest, should the signal thread hang in spite of everything: a log on a dead
// file system, say.
constexpr long kLastChanceNanoseconds = 850'000'000;

// Set by the handler, taken by the signal thread, which `wakeUp` wakes.
std::array<std::atomic<bool>, kSignals.size()> pending;
std::atomic<bool> memoryFault;
std::atomic<bool> ending;  // set by the first signal that ends the process
sem_t wakeUp;
timer_t lastChance;
std::atomic<bool> hasLastChance;  // set before any handler is installed
pthread_t signalThread;

// For a thread that must not return into the instruction that failed.
[[noreturn]] void StayHere() {
  for (;;) {
    ::pause();
  }
}

// As the system ends a process with a memory fault.
[[noreturn]] void DieOfMemoryFault() {
  ::signal(SIGBUS, SIG_DFL);
  ::kill(::getpid(), SIGBUS);
  ::_exit(128 + SIGBUS);
}

[[noreturn]] void EndAtLast(int /*signal*/) {
  if (memoryFault) {
    DieOfMemoryFault();
  }
  ::_exit(EXIT_SUCCESS);
}

void StartLastChance() {
  if (!ending.exchange(true) && hasLastChance) {
    const itimerspec once{{0, 0}, {0, kLastChanceNanoseconds}};
    ::timer_settime(lastChance, 0, &once, nullptr);
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
      if (fault || kSignals[index].endsProcess) {
        StartLastChance();
      }
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
  FlushAllNotices();
  FlushTrace();
  ::_exit(EXIT_SUCCESS);
}

[[noreturn]] void EndByMemoryFault(const SignalRow& row) {
  LimitTraceOfThisThread(std::chrono::steady_clock::now() + kLastWords);
  Report(row);
  FlushTrace();
  DieOfMemoryFault();
}

void ActOn(const SignalRow& row) {
  if (row.endsProcess) {
    EndProcess(row);
  }
  if (memoryFault) {
    EndByMemoryFault(row);
  }
  LimitTraceOfThisThread(std::chrono::steady_clock::now() + kOneReport);
  Report(row);
  FlushTrace();
}

// The one thread that takes the signals, whatever the daemon's parent has blocked.
void* SignalThread(void* /*unused*/) {
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
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

void ReportFailure(const SignalRow& row) {
  Print("Failed to handle %s", row.name);
  WriteLog("DataCollector: Failed to handle %s", row.name);
}

void InstallOne(const SignalRow& row, SignalInstaller install) {
  struct sigaction action {};
  action.sa_sigaction = HandleSignal;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  ::sigemptyset(&action.sa_mask);
  if (install(row.signal, &action, nullptr) != 0) {
    ReportFailure(row);
  }
}

void MakeLastChance() {
  sigevent alarm{};
  alarm.sigev_notify = SIGEV_SIGNAL;
  alarm.sigev_signo = SIGALRM;
  ::signal(SIGALRM, EndAtLast);
  hasLastChance = ::timer_create(CLOCK_MONOTONIC, &alarm, &lastChance) == 0;
}

bool StartSignalThread() {
  return ::sem_init(&wakeUp, 0, 0) == 0 &&
         ::pthread_create(&signalThread, nullptr, SignalThread, nullptr) == 0;
}

}  // namespace

void InstallSignalHandlers(SignalInstaller install) {
  const FunctionTrace trace(__func__);
  ::signal(SIGPIPE, SIG_IGN);
  MakeLastChance();
  if (!StartSignalThread()) {
    PrintError("Signals keep their default actions: the thread that acts on them can't be started\n");
    for (const SignalRow& row : kSignals) {
      ReportFailure(row);
    }
    return;
  }
  // This thread and every later one leave the ending to the signal thread, and nothing else: SIGBUS must be
  // open everywhere, whatever the daemon's parent has blocked, because a memory fault in a thread that blocks
  // it would end the process without a word.
  sigset_t left;
  ::sigemptyset(&left);
  ::sigaddset(&left, SIGINT);
  ::sigaddset(&left, SIGTERM);
  ::pthread_sigmask(SIG_SETMASK, &left, nullptr);
  for (const SignalRow& row : kSignals) {
    InstallOne(row, install);
  }
}

}  // namespace datacollector
