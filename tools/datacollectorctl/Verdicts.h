// What the figures mean: one line each, with the reason and the remedy.
#pragma once

#include <string>
#include <vector>

#include "Figures.h"

namespace datacollector::ctl {

enum class Severity : std::uint8_t { Note, Warning, Error };

const char* WordOf(Severity severity);

struct Verdict {
  Severity severity;
  const char* code;
  std::string subject;  // a kind's name, or what the line is about
  std::string reason;
  const char* remedy;
};

// A row of the table that the verdicts and the manual are made of.
struct VerdictRow {
  const char* code;
  Severity severity;
  const char* meaning;
  const char* remedy;
};
std::vector<VerdictRow> VerdictTable();

// On the gateway and on these kinds, the worst first.
std::vector<Verdict> Judge(const GatewayTree& tree, const GatewayStatus& status,
                           const std::array<bool, kSourceKinds>& kinds);

// The exit status of `status`: 0 fine, 1 a warning, 2 critical, 3 unknown.
int ExitStatusOf(const GatewayStatus& status, const std::vector<Verdict>& verdicts);

}  // namespace datacollector::ctl
