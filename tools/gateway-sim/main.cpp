// gateway-sim: the applications around the daemon, in one program.
#include <csignal>
#include <cstdio>
#include <string>

#include "Options.h"
#include "Simulation.h"

namespace {

constexpr int kStatusUnexpected = 1;
constexpr int kStatusBadOptions = 2;

datacollector::sim::Requests gRequests;

void HandleSignal(int number) {
  if (number == SIGUSR1 || number == SIGUSR2) {
    gRequests.pause = number == SIGUSR1 ? 1 : 0;
  } else {
    gRequests.end = 1;
  }
}

void InstallHandlers() {
  struct sigaction action {};
  action.sa_handler = HandleSignal;
  for (const int number : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}) {
    sigaction(number, &action, nullptr);
  }
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  datacollector::sim::Options options;
  std::string error;
  switch (datacollector::sim::ParseOptions(argc, argv, options, error)) {
    case datacollector::sim::ParseResult::kHelp:
      std::fputs(datacollector::sim::HelpText(), stdout);
      return 0;
    case datacollector::sim::ParseResult::kBad:
      std::fprintf(stderr, "gateway-sim: %s\nTry 'gateway-sim --help'.\n", error.c_str());
      return kStatusBadOptions;
    case datacollector::sim::ParseResult::kRun:
      break;
  }
  InstallHandlers();
  datacollector::sim::Simulation simulation(options, gRequests);
  return simulation.Run() ? 0 : kStatusUnexpected;
}
