// SIGBUS, SIGPIPE, and handlers that can't be installed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "ground/FileLogger.h"
#include "ground/Trace.h"
#include "support/Texts.h"
#include "unit/app/SignalledProcess.h"

namespace datacollector {
namespace {

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
