#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "ground/Trace.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// Leads a stream of the process to `target` while it lives.
class Redirection {
 public:
  Redirection(int stream, int target) : stream_(stream), real_(::fcntl(stream, F_DUPFD_CLOEXEC, 3)) {
    ::dup2(target, stream_);
  }
  ~Redirection() { End(); }
  Redirection(const Redirection&) = delete;
  Redirection(Redirection&&) = delete;
  Redirection& operator=(const Redirection&) = delete;
  Redirection& operator=(Redirection&&) = delete;

  void End() {
    if (real_ >= 0) {
      ::dup2(real_, stream_);
      ::close(real_);
      real_ = -1;
    }
  }

 private:
  int stream_;
  int real_;
};

// A file in memory that shows what has been written, as it is written.
class OutputFile {
 public:
  OutputFile() : descriptor_(::memfd_create("output", MFD_CLOEXEC)) {
    ::fcntl(descriptor_, F_SETFL, O_APPEND);
    FlushTrace();
  }
  ~OutputFile() { ::close(descriptor_); }
  OutputFile(const OutputFile&) = delete;
  OutputFile(OutputFile&&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  OutputFile& operator=(OutputFile&&) = delete;

  int Descriptor() const { return descriptor_; }
  std::string Text() const {
    std::string text(static_cast<std::size_t>(::lseek(descriptor_, 0, SEEK_END)), '\0');
    const ssize_t count = ::pread(descriptor_, text.data(), text.size(), 0);
    EXPECT_EQ(count, static_cast<ssize_t>(text.size()));
    return text;
  }

 private:
  int descriptor_;
};

// A pipe, and how much it holds.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
  ~Pipe() {
    CloseReader();
    ::close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe(Pipe&&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  Pipe& operator=(Pipe&&) = delete;

  int Writer() const { return ends_[1]; }
  void CloseReader() {
    if (ends_[0] >= 0) {
      ::close(ends_[0]);
      ends_[0] = -1;
    }
  }

  // Reads until `count` bytes have come.
  std::string Read(std::size_t count) const {
    std::string text;
    std::array<char, 4096> piece;
    while (text.size() < count) {
      const ssize_t got = ::read(ends_[0], piece.data(), std::min(piece.size(), count - text.size()));
      if (got <= 0) {
        break;
      }
      text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  // Reads until the text has come that ends what is read.
  std::string ReadUntil(const std::string& end) const {
    std::string text;
    std::array<char, 4096> piece;
    while (!text.ends_with(end)) {
      const ssize_t got = ::read(ends_[0], piece.data(), piece.size());
      if (got <= 0) {
        break;
      }
      text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  // Takes out what Fill has put in.
  void Drain() const { EXPECT_EQ(Read(static_cast<std::size_t>(Capacity())), FullBlock()); }

  // Makes the pipe so full that it takes no more.
  void Fill() const { EXPECT_EQ(::write(ends_[1], FullBlock().data(), FullBlock().size()), Capacity()); }
  bool IsFull() const {
    int held = 0;
    return ::ioctl(ends_[0], FIONREAD, &held) == 0 && held == Capacity();
  }

 private:
  int Capacity() const { return ::fcntl(ends_[1], F_GETPIPE_SZ); }
  std::string FullBlock() const { return std::string(static_cast<std::size_t>(Capacity()), 'f'); }

  std::array<int, 2> ends_{-1, -1};
};

// A text in which every place is recognisable.
std::string NumberedLines(std::size_t bytes) {
  std::string text;
  for (int line = 0; text.size() < bytes; ++line) {
    text += std::to_string(line) + "\n";
  }
  return text;
}

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
