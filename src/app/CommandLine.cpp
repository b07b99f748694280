#include "app/CommandLine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "ground/FileLogger.h"
#include "ground/StatusFile.h"
#include "ground/Version.h"

namespace datacollector {
namespace {

void PrintVersion() { std::printf("DataCollector %s\n", kVersion); }

void PrintUsage() {
  std::printf(
      "Usage: DataCollector [--version | --help]\n"
      "\n"
      "Stores the records of a gateway's source applications, which come in over the MQTT broker on this\n"
      "machine, in one SQLite table per kind, and hands the oldest unsent ones to the HTTP Send App.\n"
      "Runs in the foreground until SIGTERM or SIGINT; a second one ends at once. It takes its "
      "configuration\n"
      "from fixed files below /root and ignores every other argument.\n"
      "\n"
      "  --version  print the version and end\n"
      "  --help     print this text and end\n"
      "\n"
      "Log:     %s\n"
      "Figures: %s (shown by datacollectorctl status)\n",
      kLogFile, kStatusFile);
}

struct Answer {
  std::string_view argument;
  void (*print)();
};
constexpr std::array<Answer, 2> kAnswers = {{{"--version", PrintVersion}, {"--help", PrintUsage}}};

}  // namespace

bool AnswerCommandLine(int argc, const char* const* argv) {
  if (argc != 2) {
    return false;
  }
  const auto* const answer =
      std::ranges::find_if(kAnswers, [&](const Answer& known) { return known.argument == argv[1]; });
  if (answer == kAnswers.end()) {
    return false;
  }
  answer->print();
  return true;
}

}  // namespace datacollector
