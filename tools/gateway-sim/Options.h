// The command line of gateway-sim.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ground/SourceKind.h"

namespace datacollector::sim {

struct Options {
  std::string host = "127.0.0.1";
  int port = 1883;

  std::vector<SourceKind> kinds{kAllKinds.begin(), kAllKinds.end()};
  double rate = 1.0;             // records per second and kind
  unsigned long count = 0;       // records per kind; 0: no limit
  double seconds = 0.0;          // publishing time, pauses excluded; 0: no limit
  unsigned long alarmEvery = 0;  // every n-th record is an alarm; 0: none
  std::size_t meters = 1;
  std::size_t lines = 1;

  bool confirm = true;
  unsigned long delayMilliseconds = 0;
  int status = 1;
  unsigned long dropEvery = 0;  // every n-th packet stays unconfirmed; 0: none

  double settle = 10.0;  // seconds after the last record
  bool expectAllStored = false;
  bool expectAllConfirmed = false;
  std::string trace;
  std::string report;
  std::string note;
  bool quiet = false;
  bool summary = true;
  bool fastestSecond = false;
};

enum class ParseResult { kRun, kHelp, kBad };

// Fills `options` from the command line. On kBad `error` says what is wrong with it.
ParseResult ParseOptions(int argc, char** argv, Options& options, std::string& error);

const char* HelpText();

}  // namespace datacollector::sim
