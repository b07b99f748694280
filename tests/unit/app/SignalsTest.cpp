#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>

#include "app/ProcessHandler.h"
#include "app/Signals.h"
#include "ground/FileLogger.h"
#include "ground/Trace.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr const char* kOutputFile = "/tmp/signal-output";

// Far more than the process may take: how long it does take is tested with the whole daemon.
constexpr std::chrono::milliseconds kEndWithin{10000};

// A process that runs `body` after it has installed the handlers, and then waits for its signals.
class SignalledProcess {
 public:
  explicit SignalledProcess(int outputDescriptor, const std::function<void()>& body,
                            SignalInstaller install = ::sigaction) {
    std::array<int, 2> ready{};
    EXPECT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(outputDescriptor, STDOUT_FILENO);
      InstallSignalHandlers(install);
      body();
      [[maybe_unused]] const ssize_t written = ::write(ready[1], "r", 1);
      for (;;) {
        ::pause();
      }
    }
    ::close(ready[1]);
    pollfd told{ready[0], POLLIN, 0};
    EXPECT_EQ(::poll(&told, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())), 1);
    ::close(ready[0]);
  }
  ~SignalledProcess() {
    if (!status_) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
    }
  }
  SignalledProcess(const SignalledProcess&) = delete;
  SignalledProcess(SignalledProcess&&) = delete;
  SignalledProcess& operator=(const SignalledProcess&) = delete;
  SignalledProcess& operator=(SignalledProcess&&) = delete;

  void Signal(int number) const { ::kill(process_, number); }

  // The wait status; nothing when the process still runs after `patience`.
  std::optional<int> WaitForEnd(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    int status = 0;
    while (!status_ && std::chrono::steady_clock::now() < deadline) {
      if (::waitpid(process_, &status, WNOHANG) == process_) {
        status_ = status;
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    return status_;
  }

 private:
  pid_t process_;
  std::optional<int> status_;
};

bool ExitedWith0(const std::optional<int>& status) {
  return status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
}

class Signals : public ::testing::Test {
 protected:
  Signals() {
    std::filesystem::create_directories(kLogDirectory);
    std::filesystem::remove(kLogFile);
    FlushTrace();
    output_ = ::open(kOutputFile, O_CREAT | O_TRUNC | O_RDWR | O_APPEND | O_CLOEXEC, 0600);
  }
  ~Signals() override {
    ::close(output_);
    std::filesystem::remove(kLogFile);
  }

  // What the process printed behind the installation.
  static std::string Output() {
    const std::string text = Folded(ReadFile(kOutputFile));
    const std::string installation = "<InstallSignalHandlers>\n";
    EXPECT_EQ(text.find(installation), 0U) << text;
    return text.substr(std::min(text.size(), installation.size()));
  }
  static bool WaitForLog(const std::string& text) {
    return WaitUntil([&] { return LogText() == text; });
  }

  int output_ = -1;
};

struct EndingSignal {
  int number;
  const char* name;

  friend void PrintTo(const EndingSignal& signal, std::ostream* out) { *out << signal.name; }
};

class Ending : public Signals, public ::testing::WithParamInterface<EndingSignal> {
 protected:
  std::string Logged() const { return std::string("T: DataCollector: ") + GetParam().name + "\n"; }
};

TEST_P(Ending, IsPrintedLoggedAndEndsTheProcessWith0) {
  SignalledProcess process(output_, [] { Print("printed before "); });
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(Output(), std::string("printed before DataCollector ") + GetParam().name +
                          "\n<GetTimeStamp>\n<CloseUnixDomainSocket>\n");
  EXPECT_EQ(LogText(), Logged());
}

TEST_P(Ending, EndsAProcessWhoseParentHadBlockedTheSignal) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  SignalledProcess process(output_, [] {});
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(LogText(), Logged());
}

TEST_P(Ending, EndsAProcessThatMayHaveNoTimer) {
  rlimit before{};
  ::getrlimit(RLIMIT_SIGPENDING, &before);
  const rlimit none{0, before.rlim_max};
  ::setrlimit(RLIMIT_SIGPENDING, &none);
  SignalledProcess process(output_, [] {});
  ::setrlimit(RLIMIT_SIGPENDING, &before);
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(LogText(), Logged());
}

TEST_P(Ending, WithoutASignalThreadEveryFailureIsToldAndTheSignalKeepsItsDefaultAction) {
  pthread_attr_t before;
  pthread_attr_t impossible;
  ::pthread_getattr_default_np(&before);
  ::pthread_attr_init(&impossible);
  ::pthread_attr_setstacksize(&impossible, std::size_t{1} << 50);
  ASSERT_EQ(::pthread_setattr_default_np(&impossible), 0);
  SignalledProcess process(output_, [] { FlushTrace(); });
  ::pthread_setattr_default_np(&before);
  process.Signal(GetParam().number);
  const std::optional<int> status = process.WaitForEnd(kEndWithin);
  ASSERT_TRUE(status);
  EXPECT_TRUE(WIFSIGNALED(*status) && WTERMSIG(*status) == GetParam().number);
  EXPECT_EQ(LogText(),
            "T: DataCollector: Failed to handle SIGINT\nT: DataCollector: Failed to handle SIGTERM\nT: "
            "DataCollector: Failed to handle SIGBUS\n");
}

TEST_P(Ending, LeavesTheSocketFileBehind) {
  constexpr const char* kSocket = "/tmp/signal-socket";
  std::filesystem::remove(kSocket);
  SignalledProcess process(output_, [] { ProcessHandler(kSocket, 1, "dc"); });
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_TRUE(std::filesystem::is_socket(kSocket));
  std::filesystem::remove(kSocket);
}

// A pipe that is full and that nobody reads.
class UnreadPipe {
 public:
  UnreadPipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
  ~UnreadPipe() {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  UnreadPipe(const UnreadPipe&) = delete;
  UnreadPipe(UnreadPipe&&) = delete;
  UnreadPipe& operator=(const UnreadPipe&) = delete;
  UnreadPipe& operator=(UnreadPipe&&) = delete;

  int Writer() const { return ends_[1]; }
  bool WaitUntilFull() const {
    return WaitUntil([this] {
      pollfd room{ends_[1], POLLOUT, 0};
      return ::poll(&room, 1, 0) == 0;
    });
  }

 private:
  std::array<int, 2> ends_{};
};

TEST_P(Ending, EndsTheProcessWhileNobodyReadsItsOutput) {
  const UnreadPipe pipe;
  SignalledProcess process(pipe.Writer(), [] {
    std::thread([] {
      for (;;) {
        PrintText(std::string(100000, 'x'));
      }
    }).detach();
  });
  EXPECT_TRUE(pipe.WaitUntilFull());
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(LogText(), Logged());
}

// The signal thread itself hangs, in a log that takes nothing.
TEST_P(Ending, EndsTheProcessEvenWhenTheLogHangs) {
  ASSERT_EQ(::mkfifo(kLogFile, 0600), 0);
  const int log = ::open(kLogFile, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  const std::string block(4096, 'l');
  while (::write(log, block.data(), block.size()) > 0) {
  }
  SignalledProcess process(output_, [] {});
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  ::close(log);
}

TEST_P(Ending, TwiceAtOnceIsOneEnd) {
  SignalledProcess process(output_, [] {});
  process.Signal(SIGINT);
  process.Signal(SIGTERM);
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(CountOf("\n", LogText()), 1U);
}

TEST_P(Ending, EndsAThreadThatNeverReturns) {
  SignalledProcess process(output_, [] {
    std::thread([] {
      for (;;) {
        Print("line\n");
      }
    }).detach();
  });
  process.Signal(GetParam().number);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(LogText(), Logged());
}

INSTANTIATE_TEST_SUITE_P(Each, Ending,
                         ::testing::Values(EndingSignal{SIGINT, "SIGINT"}, EndingSignal{SIGTERM, "SIGTERM"}),
                         [](const auto& signal) { return std::string(signal.param.name); });

TEST_F(Signals, ASigbusThatIsSentIsPrintedLoggedAndSurvivedEachTime) {
  SignalledProcess process(output_, [] {});
  process.Signal(SIGBUS);
  EXPECT_TRUE(WaitForLog("T: DataCollector: SIGBUS\n"));
  process.Signal(SIGBUS);
  EXPECT_TRUE(WaitForLog("T: DataCollector: SIGBUS\nT: DataCollector: SIGBUS\n"));
  EXPECT_EQ(process.WaitForEnd(std::chrono::milliseconds(0)), std::nullopt);
  process.Signal(SIGTERM);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  EXPECT_EQ(Output(),
            "DataCollector SIGBUS\n<GetTimeStamp>\nDataCollector SIGBUS\n<GetTimeStamp>\n"
            "DataCollector SIGTERM\n<GetTimeStamp>\n<CloseUnixDomainSocket>\n");
}

// Reads beyond the end of a file that is mapped.
void CommitMemoryFault() {
  const int file = ::memfd_create("empty", MFD_CLOEXEC);
  auto* const page = static_cast<volatile char*>(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0));
  [[maybe_unused]] const char byte = *page;
}

// By the signal, or with the exit status that a shell shows for it.
bool EndedByFault(int status) {
  return (WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS) ||
         (WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGBUS);
}

class MemoryFault : public Signals {
 protected:
  static void ExpectFault(const std::optional<int>& status) {
    ASSERT_TRUE(status);
    EXPECT_TRUE(EndedByFault(*status)) << *status;
    EXPECT_EQ(Output(), "DataCollector SIGBUS\n<GetTimeStamp>\n");
    EXPECT_EQ(LogText(), "T: DataCollector: SIGBUS\n");
  }
};

TEST_F(MemoryFault, OfTheMainThreadIsPrintedAndLoggedOnceAndEndsTheProcess) {
  SignalledProcess process(output_, CommitMemoryFault);
  ExpectFault(process.WaitForEnd(kEndWithin));
}

TEST_F(MemoryFault, OfAnotherThreadIsPrintedAndLoggedOnceAndEndsTheProcess) {
  SignalledProcess process(output_, [] { std::thread(CommitMemoryFault).detach(); });
  ExpectFault(process.WaitForEnd(kEndWithin));
}

TEST_F(Signals, AReaderThatGoesAwayDoesNotEndTheProcess) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
  SignalledProcess process(pipe[1], [&pipe] {
    ::close(pipe[0]);
    ::signal(SIGUSR1, [](int /*signal*/) {
      const char byte = 'x';
      if (::write(STDOUT_FILENO, &byte, 1) < 0) {
        ::kill(::getpid(), SIGTERM);
      }
    });
  });
  ::close(pipe[0]);
  process.Signal(SIGUSR1);
  EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
  ::close(pipe[1]);
}

int refused;  // the signal that can't be handled

int RefusingInstaller(int signal, const struct sigaction* action, struct sigaction* before) {
  return signal == refused ? -1 : ::sigaction(signal, action, before);
}
int RefuseAll(int /*signal*/, const struct sigaction* /*action*/, struct sigaction* /*before*/) { return -1; }

TEST_F(Signals, AHandlerThatCannotBeInstalledIsNamedAndTheRestGoesOn) {
  for (const auto& [number, name] : {std::pair{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGBUS, "SIGBUS"}}) {
    std::filesystem::remove(kLogFile);
    ASSERT_EQ(::ftruncate(output_, 0), 0);
    refused = number;
    SignalledProcess process(
        output_, [] {}, RefusingInstaller);
    process.Signal(number == SIGTERM ? SIGINT : SIGTERM);
    EXPECT_TRUE(ExitedWith0(process.WaitForEnd(kEndWithin)));
    const std::string failure = std::string("DataCollector: Failed to handle ") + name;
    EXPECT_EQ(LogText().find("T: " + failure + "\nT: DataCollector: SIG"), 0U) << LogText();
    EXPECT_NE(ReadFile(kOutputFile).find(std::string("Failed to handle ") + name + "FILE:"),
              std::string::npos);
  }
}

TEST_F(Signals, TheHandlersAreInstalledInTheirOrder) {
  SignalledProcess process(
      output_, [] { FlushTrace(); }, RefuseAll);
  EXPECT_EQ(LogText(),
            "T: DataCollector: Failed to handle SIGINT\nT: DataCollector: Failed to handle SIGTERM\n"
            "T: DataCollector: Failed to handle SIGBUS\n");
  EXPECT_EQ(Folded(ReadFile(kOutputFile), {"InstallSignalHandlers"}),
            "FILE:Signals.cpp:LINE:N:FUNCTION:InstallSignalHandlers:START\n"
            "Failed to handle SIGINT<GetTimeStamp>\nFailed to handle SIGTERM<GetTimeStamp>\n"
            "Failed to handle SIGBUS<GetTimeStamp>\n"
            "FILE:Signals.cpp:LINE:N:FUNCTION:InstallSignalHandlers:END\n");
}

}  // namespace
}  // namespace datacollector
