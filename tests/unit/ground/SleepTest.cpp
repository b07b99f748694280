#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>

#include "ground/GenericFunctions.h"
#include "ground/Trace.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// The sleep that the tests hand in: notes what it was asked for.
struct Asked {
  int calls;
  timespec length;
  std::string printedBefore;  // what had reached standard output by then
};
Asked asked;

std::string RawOutput() {
  std::string text(static_cast<std::size_t>(::lseek(STDOUT_FILENO, 0, SEEK_END)), '\0');
  const std::string path = "/proc/self/fd/" + std::to_string(STDOUT_FILENO);
  return text.empty() ? text : ReadFile(path);
}

int NotedSleep(const timespec* length, timespec* left) {
  EXPECT_EQ(left, nullptr);
  asked = {asked.calls + 1, *length, RawOutput()};
  return 0;
}

int InterruptedSleep(const timespec* length, timespec* left) {
  NotedSleep(length, left);
  errno = EINTR;
  return -1;
}

class Sleep : public ::testing::Test {
 protected:
  Sleep() { asked = {}; }
};

TEST_F(Sleep, MillisecondsAreSplitIntoSecondsAndNanoseconds) {
  CapturedOutput output;
  SleepInMilliSecond(1500, NotedSleep);
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(asked.length.tv_sec, 1);
  EXPECT_EQ(asked.length.tv_nsec, 500000000);
  EXPECT_EQ(output.Out(), "slptm.tv_sec = 1\nslptm.tv_nsec = 500000000\nSleeping for 1500 milliseconds\n");
  EXPECT_EQ(output.Err(), "");
}

TEST_F(Sleep, ZeroMillisecondsAreAskedForAllTheSame) {
  CapturedOutput output;
  SleepInMilliSecond(0, NotedSleep);
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(output.Out(), "slptm.tv_sec = 0\nslptm.tv_nsec = 0\nSleeping for 0 milliseconds\n");
}

TEST_F(Sleep, ZeroMillisecondsOfTheSystemReturnAtOnce) {
  CapturedOutput output;
  const auto before = std::chrono::steady_clock::now();
  SleepInMilliSecond(0);
  EXPECT_LT(std::chrono::steady_clock::now() - before, kPatience);
}

TEST_F(Sleep, TheTraceIsWrittenBeforeTheThreadSleeps) {
  CapturedOutput output;
  Print("before ");
  SleepInMilliSecond(1, NotedSleep);
  EXPECT_EQ(asked.printedBefore,
            "before slptm.tv_sec = 0\nslptm.tv_nsec = 1000000\nSleeping for 1 milliseconds\n");
}

TEST_F(Sleep, AnInterruptedOneIsReportedAndNotResumed) {
  CapturedOutput output;
  SleepInMilliSecond(1500, InterruptedSleep);
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(WithoutLineNumbers(output.Err()),
            "FILE:GenericFunctions.cpp:LINE:N:FUNCTION:SleepInMilliSecond: => Error: 'nanosleep' sleep "
            "Failed : Interrupted system call : Error Number:4\n");
}

TEST_F(Sleep, ANegativeOneIsRefusedByTheSystemAndReported) {
  CapturedOutput output;
  SleepInMilliSecond(-1);
  EXPECT_EQ(WithoutLineNumbers(output.Err()),
            "FILE:GenericFunctions.cpp:LINE:N:FUNCTION:SleepInMilliSecond: => Error: 'nanosleep' sleep "
            "Failed : Invalid argument : Error Number:22\n");
}

TEST_F(Sleep, WaitSleepsWholeSecondsBetweenItsTraceLines) {
  CapturedOutput output;
  Wait(nullptr, 3, NotedSleep);
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(asked.length.tv_sec, 3);
  EXPECT_EQ(asked.length.tv_nsec, 0);
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            "FILE:GenericFunctions.cpp:LINE:N:FUNCTION:Wait:START\n"
            "Wait Function Called...\n"
            "FILE:GenericFunctions.cpp:LINE:N:FUNCTION:Wait:END\n");
}

TEST_F(Sleep, WaitReportsAnInterruptionUnderItsOwnName) {
  CapturedOutput output;
  const int unused = 0;
  Wait(&unused, 3, InterruptedSleep);
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(WithoutLineNumbers(output.Err()),
            "FILE:GenericFunctions.cpp:LINE:N:FUNCTION:Wait: => Error: 'nanosleep' sleep Failed : "
            "Interrupted system call : Error Number:4\n");
}

}  // namespace
}  // namespace datacollector
