#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>

#include "ground/FileLogger.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr const char* kStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
constexpr const char* kToolFolder = "/tmp/tools";
constexpr const char* kRotationNote = "/tmp/rotated";

// Each test has the log directory for itself, and a logrotate that notes what it was asked for.
class FileLogger : public ::testing::Test {
 protected:
  FileLogger() {
    std::filesystem::create_directories(kLogDirectory);
    std::filesystem::create_directories(kToolFolder);
    std::filesystem::remove(kLogFile);
    std::filesystem::remove(kTemporaryLogFile);
    std::filesystem::remove(kRotationNote);
    const std::string tool = std::string(kToolFolder) + "/logrotate";
    WriteFile(tool, std::string("#!/bin/sh\necho \"$@\" >>") + kRotationNote + "\n");
    ::chmod(tool.c_str(), 0755);
    ::setenv("PATH", (std::string(kToolFolder) + ":/usr/bin:/bin").c_str(), 1);
  }
  ~FileLogger() override {
    std::filesystem::remove_all(kLogDirectory);
    std::filesystem::remove(kTemporaryLogFile);
  }
};

std::string Traced(const std::string& function, const std::string& text) {
  return datacollector::Traced("FileLogger.cpp", function, text);
}

TEST_F(FileLogger, InitLogFileRemembersItsPathAndCreatesTheFixedFile) {
  CapturedOutput output;
  InitLogFile("/tmp/some-other-path");
  EXPECT_STREQ(gui32_LogFileName, "/tmp/some-other-path");
  EXPECT_TRUE(std::filesystem::exists(kLogFile));
  EXPECT_FALSE(std::filesystem::exists("/tmp/some-other-path"));
  EXPECT_EQ(output.Out(), "");
}

TEST_F(FileLogger, InitLogFileKeepsWhatIsThere) {
  WriteFile(kLogFile, "an older line\n");
  InitLogFile(kLogFile);
  EXPECT_EQ(ReadFile(kLogFile), "an older line\n");
}

TEST_F(FileLogger, ALogLineIsTheLocalTimeAColonABlankAndTheMessage) {
  CapturedOutput output;
  WriteLog("record %d of %s", 7, "AIO");
  EXPECT_TRUE(std::regex_match(ReadFile(kLogFile), std::regex(std::string(kStamp) + ": record 7 of AIO\n")))
      << ReadFile(kLogFile);
  EXPECT_EQ(Folded(output.Out()), "<GetTimeStamp>\n");
}

TEST_F(FileLogger, LogLinesAreAppended) {
  CapturedOutput output;
  WriteLog("first");
  WriteLog("second");
  EXPECT_EQ(LogText(), "T: first\nT: second\n");
}

TEST_F(FileLogger, AMessageThatEndsItsLineIsFollowedByAnEmptyOne) {
  CapturedOutput output;
  WriteLog("retry count : %d\n", 0);
  EXPECT_EQ(LogText(), "T: retry count : 0\n\n");
}

TEST_F(FileLogger, ALogThatIsRemovedBetweenTwoLinesIsMadeAgain) {
  CapturedOutput output;
  WriteLog("first");
  std::filesystem::remove(kLogFile);
  WriteLog("second");
  EXPECT_EQ(LogText(), "T: second\n");
}

TEST_F(FileLogger, ALogThatIsRotatedBetweenTwoLinesIsMadeAgain) {
  const std::string old = std::string(kLogFile) + ".1";
  CapturedOutput output;
  WriteLog("first");
  std::filesystem::rename(kLogFile, old);
  WriteFile(kLogFile, "");
  WriteLog("second");
  EXPECT_EQ(LogText(), "T: second\n");
  std::filesystem::rename(old, kLogFile);
  EXPECT_EQ(LogText(), "T: first\n");
}

TEST_F(FileLogger, ALineThatAFullDiskDoesNotTakeDoesNotComeLater) {
  CapturedOutput output;
  std::filesystem::create_symlink("/dev/full", kLogFile);
  WriteLog("lost");
  std::filesystem::remove(kLogFile);
  WriteLog("second");
  EXPECT_EQ(LogText(), "T: second\n");
}

// About the lengths at which a line needs memory of its own, too.
TEST_F(FileLogger, AMessageIsNotCut) {
  CapturedOutput output;
  std::string expected;
  for (const std::size_t length : {970U, 977U, 978U, 979U, 980U, 981U, 10000U}) {
    const std::string message(length, 'm');
    WriteLog("%s", message.c_str());
    expected += "T: " + message + "\n";
  }
  EXPECT_EQ(LogText(), expected);
}

TEST_F(FileLogger, ALogThatCannotBeOpenedIsNotReported) {
  std::filesystem::remove_all(kLogDirectory);
  CapturedOutput output;
  WriteLog("lost");
  EXPECT_EQ(Folded(output.Out()), "<GetTimeStamp>\n");
  EXPECT_EQ(output.Err(), "");
}

TEST_F(FileLogger, WholeMessagesHaveTheTimeInBracketsAndCheckTheRotation) {
  CapturedOutput output;
  vFileLogger("a message");
  EXPECT_TRUE(
      std::regex_match(ReadFile(kLogFile), std::regex("\\[" + std::string(kStamp) + "\\]:a message\n")))
      << ReadFile(kLogFile);
  EXPECT_EQ(Folded(output.Out(), {"vFileLogger"}),
            Traced("vFileLogger",
                   "<GetTimeStamp>\nMessage Written into File "
                   "'/tmp/Log/DataCollectorApp/DataCollectorLog.txt' Successfully\n"));
  EXPECT_EQ(ReadFile(kRotationNote), "/etc/logrotate.d/DataCollectorLogrotateConfig\n");
}

TEST_F(FileLogger, TheRotationIsCheckedAfterEveryWholeMessage) {
  CapturedOutput output;
  vFileLogger("first");
  vFileLogger("second");
  EXPECT_EQ(CountOf("\n", ReadFile(kRotationNote)), 2U);
  EXPECT_EQ(CountOf("\n", ReadFile(kLogFile)), 2U);
}

TEST_F(FileLogger, TheTemporaryLogIsNotRotated) {
  CapturedOutput output;
  vFileLoggerTemp("a message");
  EXPECT_TRUE(std::regex_match(ReadFile(kTemporaryLogFile),
                               std::regex("\\[" + std::string(kStamp) + "\\]:a message\n")));
  EXPECT_EQ(Folded(output.Out(), {"vFileLoggerTemp"}),
            Traced("vFileLoggerTemp",
                   "<GetTimeStamp>\nMessage Written into File "
                   "'/root/TempDataCollectorLogs.txt' Successfully\n"));
  EXPECT_FALSE(std::filesystem::exists(kRotationNote));
  EXPECT_FALSE(std::filesystem::exists(kLogFile));
}

TEST_F(FileLogger, AWholeMessageIsCutToItsBuffer) {
  CapturedOutput output;
  vFileLoggerTemp(std::string(5000, 'm').c_str());
  EXPECT_EQ(ReadFile(kTemporaryLogFile).size(), 2047U);
}

TEST_F(FileLogger, AWholeMessageThatCannotBeWrittenIsReported) {
  std::filesystem::create_symlink("/dev/full", kTemporaryLogFile);
  CapturedOutput output;
  vFileLoggerTemp("a message");
  EXPECT_EQ(Folded(output.Out(), {"vFileLoggerTemp"}),
            Traced("vFileLoggerTemp",
                   "<GetTimeStamp>\nCan not write message into file "
                   "'/root/TempDataCollectorLogs.txt'\n"));
}

TEST_F(FileLogger, ALogThatCannotBeOpenedForAWholeMessageIsReportedAndTheFunctionLeftWithoutItsEndLine) {
  std::filesystem::remove_all(kLogDirectory);
  CapturedOutput output;
  vFileLogger("lost");
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            "FILE:FileLogger.cpp:LINE:N:FUNCTION:vFileLogger:START\n"
            "Can not open log file '/tmp/Log/DataCollectorApp/DataCollectorLog.txt'\n");
  EXPECT_EQ(output.Err(), "open: No such file or directory\n");
  EXPECT_FALSE(std::filesystem::exists(kRotationNote));
}

TEST_F(FileLogger, ATemporaryLogThatCannotBeOpenedIsReportedInTheSameWay) {
  std::filesystem::create_directory(kTemporaryLogFile);
  CapturedOutput output;
  vFileLoggerTemp("lost");
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            "FILE:FileLogger.cpp:LINE:N:FUNCTION:vFileLoggerTemp:START\n"
            "Can not open log file '/root/TempDataCollectorLogs.txt'\n");
  EXPECT_EQ(output.Err(), "open: Is a directory\n");
}

TEST_F(FileLogger, TheStubDoesNothing) {
  CapturedOutput output;
  LogStub();
  EXPECT_EQ(output.Out(), "");
  EXPECT_FALSE(std::filesystem::exists(kLogFile));
}

}  // namespace
}  // namespace datacollector
