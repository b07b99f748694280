// SIGINT and SIGTERM: whatever the process is at, it ends with 0, and says so once.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

#include "app/ProcessHandler.h"
#include "ground/FileLogger.h"
#include "ground/Trace.h"
#include "support/Outputs.h"
#include "support/Texts.h"
#include "unit/app/SignalledProcess.h"

namespace datacollector {
namespace {

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

TEST_P(Ending, EndsTheProcessWhileNobodyReadsItsOutput) {
  const Pipe pipe;
  SignalledProcess process(pipe.Writer(), [] {
    std::thread([] {
      for (;;) {
        PrintText(std::string(100000, 'x'));
      }
    }).detach();
  });
  EXPECT_TRUE(WaitUntil([&] { return pipe.IsFull(); }));
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

}  // namespace
}  // namespace datacollector
