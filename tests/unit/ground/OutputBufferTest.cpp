// What happens to the trace at an output that blocks, fails or is not read.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "ground/Trace.h"
#include "support/CaptureOutput.h"
#include "support/Outputs.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

TEST(TraceOutputs, APipeThatDoesNotBlockGetsEverything) {
  const std::string text = NumberedLines(500000);
  const Pipe pipe;
  FlushTrace();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  ::fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
  std::string read;
  std::thread reader([&] { read = pipe.Read(text.size()); });
  PrintText(text);
  FlushTrace();
  reader.join();
  out.End();
  EXPECT_EQ(read, text);
}

TEST(TraceOutputs, AnOutputThatFailsIsGivenUpAndTheProgramGoesOn) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe pipe;
  FlushTrace();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  pipe.CloseReader();
  PrintText(NumberedLines(200000));
  PrintText("dropped");
  FlushTrace();
  out.End();
  ::signal(SIGPIPE, SIG_DFL);
  CapturedOutput output;
  PrintText("kept");
  EXPECT_EQ(output.Out(), "kept");
}

// One text of a stalled output, larger than the buffer of either stream by far.
constexpr int kStalledLines = 40000;

void PrintStalledLines(void (*end)()) {
  for (int line = 0; line < kStalledLines; ++line) {
    Print("event %d begins\n", line);
    Print("event %d ends\n", line);
    end();
  }
}

// What a reader finds in the end: whole events from the first one, the gap, and what came after it.
void ExpectOneGap(const std::string& text, const std::string& missing, int linesOfAnEvent) {
  std::string expected;
  int kept = 0;
  const auto event = [linesOfAnEvent](int line) {
    const std::string name = "event " + std::to_string(line);
    return linesOfAnEvent == 2 ? name + " begins\n" + name + " ends\n" : name + "\n";
  };
  for (std::string next = event(0); text.compare(expected.size(), next.size(), next) == 0;
       next = event(kept)) {
    expected += next;
    ++kept;
  }
  EXPECT_GT(kept, 0);
  EXPECT_LT(kept, kStalledLines);
  expected += std::to_string((kStalledLines - kept) * linesOfAnEvent) + missing + "after the gap\n";
  EXPECT_EQ(text.size(), expected.size());
  EXPECT_EQ(text.substr(text.size() - std::min<std::size_t>(text.size(), 200)),
            expected.substr(expected.size() - std::min<std::size_t>(expected.size(), 200)));
}

TEST(TraceStall, AnOutputThatNobodyReadsCostsOneSecondAndWholeEvents) {
  const Pipe pipe;
  FlushTrace();
  pipe.Fill();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  const auto start = std::chrono::steady_clock::now();
  PrintStalledLines(FlushTrace);
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken, std::chrono::seconds(1));
  EXPECT_LT(taken, kPatience);
  pipe.Drain();
  std::string text;
  std::thread reader([&] { text = pipe.ReadUntil("after the gap\n"); });
  FlushTrace();
  PrintLine("after the gap");
  FlushTrace();
  reader.join();
  out.End();
  ExpectOneGap(text, " lines of the trace are missing\n", 2);
}

TEST(TraceStall, ALineIsMadeForWhatIsMissingWhereTheTextBeforeHasNoEnd) {
  const Pipe pipe;
  FlushTrace();
  pipe.Fill();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  PrintText("no line end");
  FlushTrace();
  PrintText(NumberedLines(200000) + "more");
  FlushTrace();
  pipe.Drain();
  const std::size_t lines = CountOf("\n", NumberedLines(200000));
  FlushTrace();
  const std::string expected = "no line end\n" + std::to_string(lines) + " lines of the trace are missing\n";
  EXPECT_EQ(pipe.Read(expected.size()), expected);
  out.End();
}

TEST(TraceStall, AStallWithinTheBufferLosesNothing) {
  const Pipe pipe;
  FlushTrace();
  pipe.Fill();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  const std::string text = NumberedLines(60000);
  PrintText(text);
  FlushTrace();
  const auto start = std::chrono::steady_clock::now();
  FlushTrace();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  pipe.Drain();
  PrintText("after");
  FlushTrace();
  EXPECT_EQ(pipe.Read(text.size() + 5), text + "after");
  out.End();
}

TEST(TraceStall, StandardErrorThatNobodyReadsDoesNotHoldUpEither) {
  const Pipe pipe;
  FlushTrace();
  pipe.Fill();
  Redirection err(STDERR_FILENO, pipe.Writer());
  for (int line = 0; line < kStalledLines; ++line) {
    PrintError("event %d\n", line);
  }
  pipe.Drain();
  std::string text;
  std::thread reader([&] { text = pipe.ReadUntil("after the gap\n"); });
  FlushTrace();
  PrintError("after the gap\n");
  reader.join();
  err.End();
  ExpectOneGap(text, " lines of standard error are missing\n", 1);
}

// The thread that ends the process has a second for everything: it must not wait for a reader.
TEST(TraceDeadline, AnUnreadPipeDoesNotHoldUpAThreadBeyondItsDeadline) {
  const Pipe pipe;
  FlushTrace();
  pipe.Fill();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  std::chrono::steady_clock::duration taken{};
  std::thread ending([&taken] {
    const auto start = std::chrono::steady_clock::now();
    LimitTraceOfThisThread(start + std::chrono::milliseconds(200));
    PrintText(NumberedLines(200000));
    FlushTrace();
    PrintLine("last words");
    FlushTrace();
    taken = std::chrono::steady_clock::now() - start;
  });
  ending.join();
  out.End();
  EXPECT_GE(taken, std::chrono::milliseconds(100));
  EXPECT_LT(taken, kPatience);
}

TEST(TraceDeadline, AThreadThatHangsInItsOutputDoesNotHoldUpAnother) {
  const Pipe pipe;
  FlushTrace();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  const std::string text = NumberedLines(200000);
  std::atomic<bool> written = false;
  std::thread hanging([&] {
    PrintText(text);
    FlushTrace();
    written = true;
  });
  EXPECT_TRUE(WaitUntil([&pipe] { return pipe.IsFull(); }));
  std::thread ending([] {
    LimitTraceOfThisThread(std::chrono::steady_clock::now() + std::chrono::milliseconds(100));
    PrintText("a text ");
    Print("a %s text ", "formatted");
    PrintLine("a line");
    FlushTrace();
  });
  ending.join();
  EXPECT_FALSE(written);
  const std::string read = pipe.Read(text.size());
  hanging.join();
  FlushTrace();
  out.End();
  EXPECT_EQ(read, text);
}

TEST(TraceDeadline, ALimitedThreadStillWritesEverythingThatIsRead) {
  const std::string text = NumberedLines(300000);
  const Pipe pipe;
  FlushTrace();
  Redirection out(STDOUT_FILENO, pipe.Writer());
  std::string read;
  std::thread reader([&] { read = pipe.Read(text.size()); });
  std::thread ending([&text] {
    LimitTraceOfThisThread(std::chrono::steady_clock::now() + kPatience);
    PrintText(text);
    FlushTrace();
  });
  ending.join();
  reader.join();
  out.End();
  EXPECT_EQ(read, text);
}

}  // namespace
}  // namespace datacollector
