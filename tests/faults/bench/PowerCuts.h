// Cuts the power after each recorded change and looks at what is left.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "faults/bench/Disk.h"
#include "faults/bench/Faults.h"
#include "ground/SourceKind.h"

namespace datacollector::faults {

// The rows of a kind's table behind an integrity check, as one text; kNoDatabase where the file is missing or
// empty, and SQLite's reason where it can't be read.
inline constexpr const char* kNoDatabase = "no database";
enum class Access : std::uint8_t {
  Reader,     // beside a daemon that runs: leaves every file as it is
  Successor,  // after a crash: rolls back or forward what was left
};
std::string ContentOf(const std::string& databaseFile, SourceKind kind, Access access);

// Records the changes of one kind's database from its making on, and remembers what the table held when.
class PowerCuts {
 public:
  // Nothing may change the databases at this moment.
  PowerCuts(Faults& faults, SourceKind kind);

  // What the table holds now may be found from here on, without having been promised.
  void Pass() { Note(false); }

  // This, too, as it can't be looked at in time.
  void Pass(const std::string& content) { moments_.push_back({0, content, false}); }

  // What the table holds now has been promised: from here on no cut may take it back.
  void Promise() { Note(true); }

  struct Result {
    std::size_t changes = 0;
    std::size_t states = 0;
    std::vector<std::string> findings;  // what was lost or broken, and at which cut
  };

  // Cuts everywhere, each way, with `seeds` random choices. Ends the recording. The table may hold what was
  // promised last, what comes next, up to the next promise, and nothing else.
  Result CutEverywhere(int seeds, std::uint32_t seed);

  // One cut at a random place, put onto the disk of the daemon.
  void CutOnce(std::uint32_t seed) const;

 private:
  struct Moment {
    std::size_t changes;  // recorded up to it
    std::string content;
    bool promised;
  };
  void Note(bool promised);
  const std::string& Recovered(const Files& files);
  bool IsAllowed(const std::string& content, std::size_t changes) const;
  void Check(const Disk& disk, Keeps keeps, std::mt19937& random, std::size_t changes, Result& result);

  Faults& faults_;
  const SourceKind kind_;
  const Disk start_;
  const std::size_t skipped_;  // changes recorded before this one began
  std::vector<Moment> moments_;
  std::unordered_map<std::string, std::string> recovered_;  // by digest: many cuts leave the same disk
};

}  // namespace datacollector::faults
