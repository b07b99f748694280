// What the daemon's readers look for in each configuration file, and what stands there: seen by watching the
// readers at work, so that there is no second list of keys.
#pragma once

#include <string>
#include <vector>

#include "GatewayTree.h"
#include "config/LibConfigRead.h"

namespace datacollector::ctl {

// A key that stands in a file.
struct PresentKey {
  std::string name;
  int line = 0;
  bool text = false;
  bool number = false;
  long long value = 0;  // of a number
  std::string words;    // of a text
};

// A key that a reader looks up.
struct WantedKey {
  std::string name;
  bool text = false;
  bool forEnabled = false;  // also with the kinds that are enabled now
  bool cut = false;
  bool stored = false;
  long storedValue = 0;
};

struct SurveyedFile {
  std::string path;
  bool there = false;
  bool regular = false;
  std::string error;  // of libconfig; empty: read
  int errorLine = 0;
  std::vector<PresentKey> present;
  std::vector<WantedKey> wanted;

  const PresentKey* Present(const std::string& name) const;
  WantedKey& Wanted(const std::string& name);
};

struct ConfigSurvey {
  std::array<SurveyedFile, kConfigFiles> files;

  static bool IsColumnFile(std::size_t index) { return index >= kColumnFiles && index < kControlFiles; }
};

// Reads the tree's configuration while it is watched; fills `tree`.
ConfigSurvey SurveyConfiguration(const std::string& root, GatewayTree& tree);

}  // namespace datacollector::ctl
