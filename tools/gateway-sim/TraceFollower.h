// Reads along in the daemon's standard output and reports stored records and applied confirmations.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Ledger.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {

class TraceFollower {
 public:
  // Follows `path` from its present end on; a file that appears later is read from its start. An empty path
  // follows nothing.
  TraceFollower(std::string path, std::vector<SourceKind> kinds, Ledger& ledger);
  ~TraceFollower();
  TraceFollower(const TraceFollower&) = delete;
  TraceFollower(TraceFollower&&) = delete;
  TraceFollower& operator=(const TraceFollower&) = delete;
  TraceFollower& operator=(TraceFollower&&) = delete;

  // Reads what has been written since the last call. A file that was cut short is read from its start.
  void Tick();

  // Whether there was a file to read, or none was asked for.
  bool Found() const { return path_.empty() || descriptor_ >= 0; }

 private:
  bool OpenFile();
  void TakeText(std::string_view text);
  void TakeLine(std::string_view line);

  std::string path_;
  std::vector<SourceKind> kinds_;
  Ledger& ledger_;
  int descriptor_ = -1;
  std::string rest_;  // the beginning of a line whose end is not written yet
};

}  // namespace datacollector::sim
