// The subcommands and their options: one table that the program, its help and its manual are made of.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ground/SourceKind.h"

namespace datacollector::ctl {

inline constexpr int kExitUsage = 64;
inline constexpr int kExitCannot = 70;

struct Option {
  const char* name;      // without the dashes
  const char* argument;  // nullptr: takes none; in brackets: may be left out
  const char* help;
};

// What was given on the command line.
class Arguments {
 public:
  bool Has(const std::string& option) const { return Find(option) != nullptr; }
  std::string Value(const std::string& option, const std::string& otherwise = {}) const;
  const std::vector<std::string>& Rest() const { return rest_; }

 private:
  friend std::optional<Arguments> Parse(const struct Command& command, int argc, char** argv);

  struct Given {
    std::string option;
    std::string value;
  };
  const Given* Find(const std::string& option) const;

  std::vector<Given> given_;
  std::vector<std::string> rest_;
};

struct Command {
  const char* name;
  const char* operands;
  const char* summary;
  std::span<const Option> options;
  const char* exitStatus;
  int (*run)(const Arguments& arguments);
};

extern const Command kStatusCommand;
extern const Command kCheckCommand;
extern const Command kRepairCommand;

// Nothing, with a line on standard error, when they can't be understood.
std::optional<Arguments> Parse(const Command& command, int argc, char** argv);

// The kind of a name in any case; nothing for others.
std::optional<SourceKind> KindOf(const std::string& name);

// The kinds of a list with commas; all for the empty one. Nothing, with a line on standard error, for a name
// that is none.
std::optional<std::array<bool, kSourceKinds>> KindsOf(const std::string& list);

// A root without slashes behind it. Nothing, with a line on standard error, when it is no directory.
std::optional<std::string> RootOf(const Arguments& arguments);

}  // namespace datacollector::ctl
