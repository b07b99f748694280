#include <getopt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Options.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

struct Parsed {
  ParseResult result = ParseResult::kBad;
  Options options;
  std::string error;
};

Parsed Parse(std::vector<std::string> words) {
  words.insert(words.begin(), "gateway-sim");
  std::vector<char*> arguments;
  std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                 [](std::string& word) { return word.data(); });
  arguments.push_back(nullptr);
  Parsed parsed;
  parsed.result =
      ParseOptions(static_cast<int>(words.size()), arguments.data(), parsed.options, parsed.error);
  return parsed;
}

TEST(Options, WithoutAnyPlayAllKindsAndConfirm) {
  const Parsed parsed = Parse({});
  EXPECT_EQ(parsed.result, ParseResult::kRun);
  EXPECT_EQ(parsed.options.kinds.size(), kSourceKinds);
  EXPECT_TRUE(parsed.options.confirm);
  EXPECT_EQ(parsed.options.port, 1883);
  EXPECT_EQ(parsed.options.status, 1);
}

TEST(Options, TakeTheValuesGiven) {
  const Parsed parsed = Parse({"--host",
                               "gateway",
                               "--port=1884",
                               "--rate",
                               "0.5",
                               "--count",
                               "12",
                               "--alarms",
                               "3",
                               "--meters",
                               "4",
                               "--lines",
                               "2",
                               "--confirm",
                               "no",
                               "--delay",
                               "250",
                               "--status",
                               "-4",
                               "--drop",
                               "5",
                               "--settle",
                               "0",
                               "--trace",
                               "t",
                               "--report",
                               "r",
                               "--quiet",
                               "--note",
                               "n",
                               "--no-summary",
                               "--fastest-second",
                               "--expect-all-stored",
                               "--expect-all-confirmed"});
  ASSERT_EQ(parsed.result, ParseResult::kRun) << parsed.error;
  const Options& options = parsed.options;
  EXPECT_EQ(options.host, "gateway");
  EXPECT_EQ(options.port, 1884);
  EXPECT_EQ(options.rate, 0.5);
  EXPECT_EQ(options.count, 12U);
  EXPECT_EQ(options.alarmEvery, 3U);
  EXPECT_EQ(options.meters, 4U);
  EXPECT_EQ(options.lines, 2U);
  EXPECT_FALSE(options.confirm);
  EXPECT_EQ(options.delayMilliseconds, 250U);
  EXPECT_EQ(options.status, -4);
  EXPECT_EQ(options.dropEvery, 5U);
  EXPECT_EQ(options.settle, 0.0);
  EXPECT_EQ(options.trace, "t");
  EXPECT_EQ(options.report, "r");
  EXPECT_TRUE(options.quiet);
  EXPECT_EQ(options.note, "n");
  EXPECT_FALSE(options.summary);
  EXPECT_TRUE(options.fastestSecond);
  EXPECT_TRUE(options.expectAllStored);
  EXPECT_TRUE(options.expectAllConfirmed);
}

TEST(Options, KindsKeepTheDaemonsOrderWhateverTheList) {
  const Parsed parsed = Parse({"--kinds", "snmp,AIO,Temperature,aio"});
  ASSERT_EQ(parsed.result, ParseResult::kRun);
  EXPECT_EQ(parsed.options.kinds, (std::vector<SourceKind>{AIO, TEMPERATURE, SNMP}));
  EXPECT_EQ(Parse({"--kinds", "all"}).options.kinds.size(), kSourceKinds);
}

TEST(Options, HelpWinsOverTheRestAndNamesEveryOption) {
  EXPECT_EQ(Parse({"--help"}).result, ParseResult::kHelp);
  const std::string help = HelpText();
  for (const char* name : {"--host",
                           "--port",
                           "--kinds",
                           "--rate",
                           "--count",
                           "--seconds",
                           "--alarms",
                           "--meters",
                           "--lines",
                           "--confirm",
                           "--delay",
                           "--status",
                           "--drop",
                           "--settle",
                           "--expect-all-stored",
                           "--expect-all-confirmed",
                           "--trace",
                           "--report",
                           "--quiet",
                           "--note",
                           "--no-summary",
                           "--fastest-second",
                           "--help",
                           "SIGUSR1"}) {
    EXPECT_NE(help.find(name), std::string::npos) << name;
  }
}

class BadOptions : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(BadOptions, AreRefusedWithAReason) {
  const Parsed parsed = Parse(GetParam());
  EXPECT_EQ(parsed.result, ParseResult::kBad);
  EXPECT_FALSE(parsed.error.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadOptions,
    testing::Values(std::vector<std::string>{"--rate", "0"}, std::vector<std::string>{"--rate", "fast"},
                    std::vector<std::string>{"--rate", "1x"}, std::vector<std::string>{"--rate", "nan"},
                    std::vector<std::string>{"--rate"}, std::vector<std::string>{"--count", "1.5"},
                    std::vector<std::string>{"--count", "-1"}, std::vector<std::string>{"--port", "65536"},
                    std::vector<std::string>{"--kinds", "aio,"},
                    std::vector<std::string>{"--kinds", "modbus"}, std::vector<std::string>{"--lines", "3"},
                    std::vector<std::string>{"--meters", "101"},
                    std::vector<std::string>{"--confirm", "maybe"},
                    std::vector<std::string>{"--status", "9999999999"},
                    std::vector<std::string>{"--trace", ""}, std::vector<std::string>{"--faster"},
                    std::vector<std::string>{"--expect-all-stored"}, std::vector<std::string>{"stray"}));

}  // namespace
}  // namespace datacollector::sim
