#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "ground/CodePlace.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

std::string Traced(const std::string& function, const std::string& text) {
  return datacollector::Traced("GenericFunctions.cpp", function, text);
}

TEST(DecToBin, StoresTheDigitsLeastSignificantFirstAndPrintsThem) {
  std::array<std::uint8_t, 8> digits;
  digits.fill(7);
  CapturedOutput output;
  DecToBin(digits.data(), 6, digits.size());
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("DecToBin", "Binary converted value of decimal number '6' is 011\n"));
  EXPECT_EQ(digits, (std::array<std::uint8_t, 8>{0, 1, 1, 7, 7, 7, 7, 7}));
}

TEST(DecToBin, ZeroClearsTheWholeBufferAndPrintsNoDigits) {
  std::array<std::uint8_t, 4> digits;
  digits.fill(7);
  CapturedOutput output;
  DecToBin(digits.data(), 0, digits.size());
  EXPECT_EQ(WithoutLineNumbers(output.Out()), Traced("DecToBin", ""));
  EXPECT_EQ(digits, (std::array<std::uint8_t, 4>{0, 0, 0, 0}));
}

TEST(DecToBin, StopsAtTheEndOfTheBuffer) {
  std::array<std::uint8_t, 4> digits;
  digits.fill(7);
  CapturedOutput output;
  DecToBin(digits.data(), 13, 3);
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("DecToBin", "Binary converted value of decimal number '13' is 101\n"));
  EXPECT_EQ(digits, (std::array<std::uint8_t, 4>{1, 0, 1, 7}));
}

class IsDirectoryTest : public ::testing::Test {
 protected:
  IsDirectoryTest() {
    std::string pattern = ::testing::TempDir() + "directoryXXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~IsDirectoryTest() override {
    ::chmod(path_.c_str(), 0700);
    std::filesystem::remove_all(path_);
  }

  std::string path_;
};

TEST_F(IsDirectoryTest, TellsDirectoriesFromNothingAndFromOtherFiles) {
  WriteFile(path_ + "/file", "");
  CapturedOutput output;
  EXPECT_EQ(IsDirectory(path_.c_str()), 1);
  EXPECT_EQ(IsDirectory((path_ + "/nothing").c_str()), -1);
  EXPECT_EQ(IsDirectory((path_ + "/file").c_str()), -2);
  EXPECT_EQ(output.Out(), "");
}

TEST_F(IsDirectoryTest, ADirectoryThatDoesNotOpenCountsAsNone) {
  ::chmod(path_.c_str(), 0);
  EXPECT_EQ(IsDirectory(path_.c_str()), -2);
}

TEST(ToggleGpio, WritesTheValueThroughTheShell) {
  WriteFile("/sys/class/gpio/gpio42/value", "0\n");
  CapturedOutput output;
  EXPECT_EQ(Toggle_GPIO(42, 1), 0);
  EXPECT_EQ(WithoutLineNumbers(output.Out()), Traced("Toggle_GPIO", ""));
  EXPECT_EQ(ReadFile("/sys/class/gpio/gpio42/value"), "1\n");
}

TEST(ToggleGpio, IgnoresAGpioThatIsNotThere) {
  CapturedOutput output;
  EXPECT_EQ(Toggle_GPIO(99, 1), 0);
  EXPECT_NE(output.Err().find("/sys/class/gpio/gpio99/value"), std::string::npos);
}

// The daemon alone has the output, so what stands there is what it has written last.
TEST(ToggleGpio, WithFastRoundsAValueThatStandsThereIsWrittenAgainAfterASecond) {
  gMainState.ui16_FastRoundPause = 10;
  CapturedOutput output;
  Toggle_GPIO(42, 0);
  Toggle_GPIO(42, 1);
  WriteFile("/sys/class/gpio/gpio42/value", "untouched\n");
  EXPECT_EQ(Toggle_GPIO(42, 1), 0);
  EXPECT_EQ(ReadFile("/sys/class/gpio/gpio42/value"), "untouched\n");
  const bool again = WaitUntil([] {
    Toggle_GPIO(42, 1);
    return ReadFile("/sys/class/gpio/gpio42/value") == "1\n";
  });
  gMainState.ui16_FastRoundPause = 0;
  EXPECT_TRUE(again);
  Toggle_GPIO(42, 1);
  WriteFile("/sys/class/gpio/gpio42/value", "untouched\n");
  Toggle_GPIO(42, 1);
  EXPECT_EQ(ReadFile("/sys/class/gpio/gpio42/value"), "1\n");
}

TEST(SourceKindNameTest, NamesTheThreeIoKindsAndNothingElse) {
  CapturedOutput output;
  EXPECT_STREQ(SourceKindName(0), "AIO");
  EXPECT_STREQ(SourceKindName(1), "DIO");
  EXPECT_STREQ(SourceKindName(2), "TEMPERATURE");
  for (const std::int32_t index : {-1, 3, 5, 1000}) {
    EXPECT_STREQ(SourceKindName(index), "") << index;
  }
  EXPECT_EQ(WithoutLineNumbers(output.Out()).substr(0, Traced("SourceKindName", "").size()),
            Traced("SourceKindName", ""));
}

TEST(StringArgumentCountTest, CountsTheCharactersBeforeTheFirstSeparator) {
  EXPECT_EQ(StringArgumentCount("abc:de;f"), 3U);
  EXPECT_EQ(StringArgumentCount("ab;c:d"), 2U);
  EXPECT_EQ(StringArgumentCount("abcd"), 4U);
  EXPECT_EQ(StringArgumentCount(":abc"), 0U);
  EXPECT_EQ(StringArgumentCount(""), 0U);
}

TEST(CodePlaceTest, NamesTheFileWithoutItsFolders) {
  EXPECT_STREQ(SourceFileName({"src/ground/Trace.cpp", 1}), "Trace.cpp");
  EXPECT_STREQ(SourceFileName({"Trace.cpp", 1}), "Trace.cpp");
}

TEST(CodePlaceTest, IsThePlaceOfTheCall) {
  const CodePlace place = CodePlace::Current();
  EXPECT_EQ(place.line, __LINE__ - 1);
  EXPECT_STREQ(SourceFileName(place), "UtilitiesTest.cpp");
}

}  // namespace
}  // namespace datacollector
