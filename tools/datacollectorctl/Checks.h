// The checks of a gateway, each adding what it finds.
#pragma once

#include <array>

#include "ConfigSurvey.h"
#include "Findings.h"
#include "GatewayTree.h"

namespace datacollector::ctl {

struct CheckInput {
  const GatewayTree& tree;
  const ConfigSurvey& survey;
  std::array<bool, kSourceKinds> kinds;  // that are looked at, if they are enabled
  bool deep;

  bool Looks(SourceKind kind) const {
    return kinds[kind] && IsSourceEnabled(tree.main->DataCollectorSourcesConfig, kind);
  }
};

void CheckFiles(const CheckInput& input, Findings& findings);     // files and keys
void CheckSettings(const CheckInput& input, Findings& findings);  // intervals, counts, columns
void CheckTopics(const CheckInput& input, Findings& findings);
void CheckTables(const CheckInput& input, Findings& findings);       // databases against the configuration
void CheckEnvironment(const CheckInput& input, Findings& findings);  // what the daemon needs around it

// How many letters have to be changed, added or taken away between two texts.
std::size_t Distance(const std::string& one, const std::string& other);

}  // namespace datacollector::ctl
