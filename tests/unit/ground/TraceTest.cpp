#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "ground/Trace.h"
#include "support/CaptureOutput.h"
#include "support/Outputs.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

TEST(Trace, IsCollectedUntilItIsFlushed) {
  const OutputFile file;
  Redirection out(STDOUT_FILENO, file.Descriptor());
  Print("%s %d", "formatted", 1);
  PrintText(" text");
  PrintLine(" line");
  const std::string before = file.Text();
  FlushTrace();
  out.End();
  EXPECT_EQ(before, "");
  EXPECT_EQ(file.Text(), "formatted 1 text line\n");
}

TEST(Trace, FlushingTwiceWritesOnce) {
  const OutputFile file;
  Redirection out(STDOUT_FILENO, file.Descriptor());
  PrintText("once");
  FlushTrace();
  FlushTrace();
  out.End();
  EXPECT_EQ(file.Text(), "once");
}

TEST(Trace, ATextWithPercentSignsIsPrintedAsItStands) {
  CapturedOutput output;
  PrintText("100 %s %n");
  PrintLine("%d");
  EXPECT_EQ(output.Out(), "100 %s %n%d\n");
}

TEST(Trace, ATextMayHoldNulBytes) {
  CapturedOutput output;
  PrintText(std::string("a\0b", 3));
  EXPECT_EQ(output.Out(), std::string("a\0b", 3));
}

TEST(Trace, ManyShortTextsOutgrowTheBufferAndNoneIsLost) {
  CapturedOutput output;
  std::string expected;
  for (int line = 0; line < 30000; ++line) {
    Print("%d\n", line);
    expected += std::to_string(line) + "\n";
  }
  EXPECT_EQ(output.Out(), expected);
}

TEST(Trace, TextsLargerThanTheBufferAreWrittenWholeAndInOrder) {
  const std::string large = NumberedLines(200000);
  CapturedOutput output;
  Print("before\n");
  PrintText(large);
  Print("between\n");
  Print("%s", large.c_str());
  PrintLine(large);
  Print("after\n");
  EXPECT_EQ(output.Out(), "before\n" + large + "between\n" + large + large + "\nafter\n");
}

TEST(Trace, AFormattedTextThatDoesNotFitTheRestOfTheBufferIsWrittenWhole) {
  const std::string most = NumberedLines(65000);
  const std::string next = NumberedLines(3000);
  CapturedOutput output;
  PrintText(most);
  Print("%s", next.c_str());
  EXPECT_EQ(output.Out(), most + next);
}

TEST(Trace, EachTextFromEachThreadIsInOnePiece) {
  CapturedOutput output;
  std::vector<std::thread> threads;
  for (char name = 'a'; name < 'd'; ++name) {
    threads.emplace_back([name] {
      for (int line = 0; line < 5000; ++line) {
        PrintLine(std::string(20, name));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::string text = output.Out();
  EXPECT_EQ(text.size(), 3U * 5000U * 21U);
  for (char name = 'a'; name < 'd'; ++name) {
    EXPECT_EQ(CountOf(std::string(20, name) + "\n", text), 5000U);
  }
}

TEST(TraceErrors, ComeAfterWhatWasPrintedBeforeAndBeforeWhatIsPrintedAfter) {
  const OutputFile file;
  Redirection out(STDOUT_FILENO, file.Descriptor());
  Redirection err(STDERR_FILENO, file.Descriptor());
  Print("printed ");
  PrintError("error %d ", 1);
  const std::string atOnce = file.Text();
  Print("printed later");
  FlushTrace();
  err.End();
  out.End();
  EXPECT_EQ(atOnce, "printed error 1 ");
  EXPECT_EQ(file.Text(), "printed error 1 printed later");
}

TEST(TraceErrors, ASystemErrorIsNamedLikePerrorEvenWhenTheFlushMeetsAnotherOne) {
  CapturedOutput output;
  Print("something to flush");
  errno = ENOENT;
  PrintSystemError("Error opening network status file");
  EXPECT_EQ(output.Err(), "Error opening network status file: No such file or directory\n");
}

TEST(FunctionTraceTest, TellsFileLineAndFunctionAtEntryAndAtExit) {
  CapturedOutput output;
  const int line = __LINE__ + 2;
  {
    const FunctionTrace trace("Something");
    PrintLine("inside");
  }
  const std::string place = "FILE:TraceTest.cpp:LINE:" + std::to_string(line) + ":FUNCTION:Something:";
  EXPECT_EQ(output.Out(), place + "START\ninside\n" + place + "END\n");
}

TEST(FunctionTraceTest, TheEndLineCanBeLeftOut) {
  CapturedOutput output;
  {
    FunctionTrace trace("Something");
    trace.SkipEnd();
  }
  EXPECT_EQ(WithoutLineNumbers(output.Out()), "FILE:TraceTest.cpp:LINE:N:FUNCTION:Something:START\n");
}

}  // namespace
}  // namespace datacollector
