// datacollectorctl: looks at a gateway, checks it and repairs it, and never disturbs the daemon.

#include <array>
#include <cstdio>
#include <string>

#include "Command.h"
#include "Manual.h"
#include "ground/Version.h"

namespace datacollector::ctl {
namespace {

constexpr std::array<const Command*, 3> kCommands = {&kStatusCommand, &kCheckCommand, &kRepairCommand};

int RunCommand(const Command& command, int argc, char** argv) {
  const std::optional<Arguments> arguments = Parse(command, argc, argv);
  if (!arguments) {
    return kExitUsage;
  }
  if (arguments->Has("help")) {
    PrintCommandHelp(command);
    return 0;
  }
  return command.run(*arguments);
}

int Run(int argc, char** argv) {
  const std::string word = argc > 1 ? argv[1] : "";
  for (const Command* command : kCommands) {
    if (word == command->name) {
      return RunCommand(*command, argc - 1, argv + 1);
    }
  }
  if (word == "--version") {
    std::printf("datacollectorctl %s\n", kVersion);
    return 0;
  }
  if (word == "--help") {
    PrintHelp(kCommands);
    return 0;
  }
  if (word == "--manual") {
    PrintManual(kCommands);
    return 0;
  }
  std::fprintf(stderr, "datacollectorctl: %s; see datacollectorctl --help\n",
               word.empty() ? "a command is missing" : ("no such command: " + word).c_str());
  return kExitUsage;
}

}  // namespace
}  // namespace datacollector::ctl

int main(int argc, char* argv[]) { return datacollector::ctl::Run(argc, argv); }
