#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Display.h"
#include "Ledger.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

const std::vector<SourceKind> kTwoKinds = {AIO, SNMP};

class DisplayTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(out_, nullptr); }
  void TearDown() override { std::fclose(out_); }

  // Everything that was shown since the last call.
  std::string Shown() {
    std::string text;
    std::array<char, 4096> buffer{};
    std::fseek(out_, read_, SEEK_SET);
    while (std::fgets(buffer.data(), buffer.size(), out_) != nullptr) {
      text += buffer.data();
    }
    read_ = std::ftell(out_);
    return text;
  }

  std::FILE* out_ = std::tmpfile();
  long read_ = 0;
  Ledger ledger_{true};
};

TEST_F(DisplayTest, RedrawsTheTableInItsPlace) {
  Display display(out_, true, false, kTwoKinds, ledger_);
  display.Tick(0.0, Phase::kRunning, "");
  EXPECT_EQ(Shown().find("\033[5F"), std::string::npos);
  display.Tick(0.1, Phase::kRunning, "");
  EXPECT_EQ(Shown(), "");
  display.Tick(0.3, Phase::kRunning, "");
  EXPECT_EQ(Shown().find("\033[5F"), 0U);
}

TEST_F(DisplayTest, NoLineOfTheTableIsWiderThanTheTerminal) {
  for (const unsigned short width :
       std::initializer_list<unsigned short>{20, 30, 36, 40, 41, 60, 67, 68, 100}) {
    const winsize size{24, width, 0, 0};
    int terminal = -1;
    int program = -1;
    ASSERT_EQ(::openpty(&terminal, &program, nullptr, nullptr, &size), 0);
    std::FILE* out = ::fdopen(program, "w");
    Display display(out, true, false, kTwoKinds, ledger_);
    display.Tick(1.0, Phase::kRunning, "the daemon is to be restarted, which takes a while");
    std::string shown;
    for (std::array<char, 256> part{}; std::ranges::count(shown, '\n') < 5;) {
      const ssize_t bytes = ::read(terminal, part.data(), part.size());
      ASSERT_GT(bytes, 0);
      shown.append(part.data(), static_cast<std::size_t>(bytes));
    }
    std::istringstream lines(shown);
    for (std::string line; std::getline(lines, line);) {
      ASSERT_TRUE(line.starts_with("\033[K") && line.ends_with('\r')) << line;
      EXPECT_LE(line.size() - 4, width) << line;
    }
    EXPECT_EQ(shown.find("handed over") != std::string::npos, width >= 68);
    EXPECT_NE(shown.find(width >= 68 ? "waiting" : " wait"), std::string::npos) << width;
    std::fclose(out);
    ::close(terminal);
  }
}

TEST_F(DisplayTest, WritesALineNowAndThenWhereThereIsNoTerminal) {
  Display display(out_, false, false, kTwoKinds, ledger_);
  display.Tick(0.0, Phase::kRunning, "");
  EXPECT_EQ(Shown(), "");
  display.Tick(5.0, Phase::kRunning, "");
  EXPECT_EQ(
      Shown(),
      "    5 s  running     published 0, stored 0, handed over 0, confirmed 0, waiting 0 (AIO 0, SNMP 0)\n");
}

TEST_F(DisplayTest, ShowsANewNoteAtOnceAndOnce) {
  Display lines(out_, false, false, kTwoKinds, ledger_);
  lines.Tick(1.0, Phase::kRunning, "WAN down");
  lines.Tick(2.0, Phase::kRunning, "WAN down");
  EXPECT_EQ(Shown(), "    1 s  WAN down\n");
  Display table(out_, true, false, kTwoKinds, ledger_);
  table.Tick(1.0, Phase::kRunning, "");
  Shown();
  table.Tick(1.1, Phase::kRunning, "WAN down");
  EXPECT_NE(Shown().find("1 s, running: WAN down\n"), std::string::npos);
}

TEST_F(DisplayTest, TheSummaryHasALinePerKindAlsoWhenQuiet) {
  Display display(out_, true, true, kTwoKinds, ledger_);
  ledger_.Offer(SNMP);
  ledger_.Published(SNMP);
  display.Tick(1.0, Phase::kRunning, "");
  display.Finish(2.0, Phase::kEnded);
  display.Summary();
  EXPECT_EQ(Shown(),
            "AIO          published      0   stored      0   confirmed      0   lost      0\n"
            "SNMP         published      1   stored      0   confirmed      0   lost      1\n");
}

TEST_F(DisplayTest, TheSummaryNamesWhatIsOutOfTheOrdinary) {
  Display display(out_, false, true, {AIO}, ledger_);
  Packet packet;
  ledger_.HandedOver(AIO, packet);
  display.Summary();
  EXPECT_NE(Shown().find("   (foreign 1)\n"), std::string::npos);
}

TEST_F(DisplayTest, TheReportReplacesItsPredecessor) {
  const std::string path = testing::TempDir() + "report-" + std::to_string(getpid());
  ASSERT_TRUE(WriteReport(path, Phase::kRunning, 42, {AIO}, ledger_));
  ASSERT_TRUE(WriteReport(path, Phase::kPaused, 42, {AIO}, ledger_));
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  std::remove(path.c_str());
  EXPECT_EQ(
      text.str(),
      "state paused\nrun 42\nAIO published 0 stored 0 handed-over 0 confirmed 0 waiting 0 lost 0 again 0 "
      "duplicates 0 out-of-order 0 foreign 0\n");
}

TEST_F(DisplayTest, AReportThatCannotBeWrittenIsTold) {
  EXPECT_FALSE(WriteReport("/nowhere/at/all", Phase::kRunning, 42, {AIO}, ledger_));
}

}  // namespace
}  // namespace datacollector::sim
