// The figures that the daemon publishes about itself, and what it answers to --version and --help.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "gateway/harness/Gateway.h"
#include "ground/StatusFile.h"

namespace datacollector::gateway {
namespace {

bool Exists(const char* path) {
  struct stat status {};
  return ::lstat(path, &status) == 0;
}

// What the daemon prints when it is started with these arguments, and its exit status.
struct Answer {
  std::string text;
  int status;
};
Answer AnswerTo(const std::string& arguments) {
  Answer answer{};
  const std::string command = DATACOLLECTOR_BINARY_DIR "/DataCollector " + arguments + " 2>&1";
  std::FILE* pipe = ::popen(command.c_str(), "r");
  std::array<char, 256> line;
  while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
    answer.text += line.data();
  }
  answer.status = ::pclose(pipe);
  return answer;
}

TEST(CommandLineTest, VersionAndHelpArePrintedAndNothingElseHappens) {
  std::filesystem::remove_all("/tmp/Log");
  std::filesystem::remove(kInstanceSocket);
  std::filesystem::remove(kStatusFile);
  EXPECT_EQ(AnswerTo("--version").text, "DataCollector " DATACOLLECTOR_VERSION "\n");
  EXPECT_EQ(AnswerTo("--version").status, 0);
  const Answer help = AnswerTo("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.text.starts_with("Usage: DataCollector [--version | --help]\n")) << help.text;
  EXPECT_FALSE(Exists("/tmp/Log"));
  EXPECT_FALSE(Exists(kInstanceSocket));
  EXPECT_FALSE(Exists(kStatusFile));
}

class FiguresTest : public Gateway {
 protected:
  // A copy of the figures, as a reader takes it.
  static const StatusRecord& Read() {
    static std::array<char, 4096> bytes;
    std::ifstream(kStatusFile, std::ios::binary).read(bytes.data(), bytes.size());
    return *reinterpret_cast<const StatusRecord*>(bytes.data());
  }
};

TEST_F(FiguresTest, TheFiguresFollowARecordFromItsStoringToItsConfirmation) {
  Start();
  const StatusRecord& record = Read();
  ASSERT_TRUE(IsStatusRecord(record, sizeof record));
  EXPECT_EQ(record.connected, 1U);
  EXPECT_STREQ(record.version.data(), DATACOLLECTOR_VERSION);
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  // The confirmation may overtake the thread that has handed the record over.
  ASSERT_TRUE(Out().WaitFor("AIDCDBRecord Number = 1, published successfully\n"));
  Read();
  EXPECT_EQ(record.kinds[AIO].confirmed, 1U);
  EXPECT_EQ(record.kinds[AIO].stored, 1U);
  EXPECT_GE(record.kinds[AIO].handedOver, 1U);
  EXPECT_EQ(record.kinds[AIO].lastHandedOver, 1U);
  EXPECT_EQ(record.kinds[AIO].refused, 0U);
  EXPECT_EQ(record.kinds[DIO].stored, 0U);
  for (const HeartbeatFigures& thread : record.threads) {
    EXPECT_GE(thread.wall, record.startedWall);
  }
}

TEST_F(FiguresTest, ARefusedRecordIsCountedForItsKindAlone) {
  Start();
  Deliver("EnergyMeter/RS485/Record", "101,\"x\",1,1,1");
  Deliver("IOModule/AIO/Record", "no literals");
  const StatusRecord& record = Read();
  EXPECT_EQ(record.kinds[RS485].refused, 1U);
  EXPECT_EQ(record.kinds[AIO].refused, 1U);
  EXPECT_EQ(record.kinds[RS232].refused, 0U);
}

TEST_F(FiguresTest, ATemperatureAlarmIsNoRefusedMeterRecord) {
  Start();
  Deliver("IOModule/Temperature/Alarm", "\"T\",1,1,1,\"20\",\"21\",\"22\",\"t\",0,\"0\",\">\"");
  EXPECT_EQ(Read().kinds[RS485].refused, 0U);
}

TEST_F(FiguresTest, AFileThatSomebodyCutsShortEndsNothing) {
  Start();
  std::filesystem::resize_file(kStatusFile, 0);
  Deliver("IOModule/AIO/Record", "no literals");
  EXPECT_EQ(Read().kinds[AIO].refused, 1U);
}

TEST_F(FiguresTest, VersionAndConfigurationAreSaidAtStart) {
  Start();
  const std::string said = "DataCollector " DATACOLLECTOR_VERSION ", configuration ";
  EXPECT_EQ(Err().Count(said), 1U);
  EXPECT_TRUE(log.WaitFor(said));
}

}  // namespace
}  // namespace datacollector::gateway
