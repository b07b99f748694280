// What the user sees: progress while the simulator runs, the summary at its end, and the report for scripts.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "Ledger.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {

// The state of the run as the report and the progress show it.
enum class Phase { kConnecting, kRunning, kPausing, kPaused, kSettling, kEnded };

const char* PhaseName(Phase phase);

class Display {
 public:
  // `live`: a table that is redrawn in place, as wide as the terminal allows; else a line now and then.
  Display(std::FILE* out, bool live, bool quiet, std::vector<SourceKind> kinds, const Ledger& ledger);

  // Shows progress when it is due, and a new note at once. `elapsed` counts seconds since the start.
  void Tick(double elapsed, Phase phase, const std::string& note);
  // Shows the last progress, without a note.
  void Finish(double elapsed, Phase phase);
  // One line per kind.
  void Summary();

 private:
  void DrawTable(double elapsed, Phase phase);
  void WriteLine(double elapsed, Phase phase);

  std::FILE* out_;
  bool live_;
  bool quiet_;
  std::vector<SourceKind> kinds_;
  const Ledger& ledger_;
  double nextDue_;
  bool drawn_ = false;
  std::string note_;
};

// Replaces `path` with the state, the run's tag and the counts, so that a reader never sees half of it. False
// when it can't be written.
bool WriteReport(const std::string& path, Phase phase, unsigned long run,
                 const std::vector<SourceKind>& kinds, const Ledger& ledger);

}  // namespace datacollector::sim
