// datacollectorctl status

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Command.h"
#include "Output.h"
#include "StatusForms.h"

namespace datacollector::ctl {
namespace {

constexpr std::size_t kUsualWidth = 100;
constexpr std::size_t kLeastWidth = 24;
constexpr const char* kClearTerminal = "\033[H\033[J";

constexpr std::array<Option, 9> kOptions = {{
    {"root", "DIR", "look at the copied gateway below DIR instead of this machine"},
    {"kind", "LIST", "only these kinds: aio,dio,temperature,rs485,rs232,snmp"},
    {"json", nullptr, "print JSON"},
    {"metrics", nullptr, "print OpenMetrics text"},
    {"html", "FILE", "write one self-contained page"},
    {"output", "FILE", "write to FILE, as a whole, instead of standard output"},
    {"watch", "[S]", "again every S seconds (2) until it is ended"},
    {"deep", nullptr, "count unsent rows even where that reads a whole table"},
    {"help", nullptr, "print this text"},
}};

// Takes and shows one status.
int ShowOnce(const std::string& root, const std::array<bool, kSourceKinds>& kinds, const Arguments& arguments,
             bool redraw) {
  const std::string page = arguments.Value("html");
  const GatewayTree tree = LoadGateway(root);
  const GatewayStatus status = TakeStatus(tree, {!page.empty(), arguments.Has("deep")});
  const std::vector<Verdict> verdicts = Judge(tree, status, kinds);
  const StatusView view{status, verdicts, kinds};
  const std::size_t width = TerminalWidth();
  const std::string text = !page.empty()           ? StatusHtml(view)
                           : arguments.Has("json") ? StatusJson(view)
                           : arguments.Has("metrics")
                               ? StatusMetrics(view)
                               : StatusText(view, width == 0 ? kUsualWidth : std::max(width, kLeastWidth));
  const bool written = WriteOut(redraw && width != 0 ? kClearTerminal + text : text,
                                page.empty() ? arguments.Value("output") : page);
  return written ? ExitStatusOf(status, verdicts) : kExitCannot;
}

int RunStatus(const Arguments& arguments) {
  const auto kinds = KindsOf(arguments.Value("kind"));
  const std::optional<std::string> root = RootOf(arguments);
  if (!kinds || !root || !arguments.Rest().empty()) {
    return kExitUsage;
  }
  if (!arguments.Has("watch")) {
    return ShowOnce(*root, *kinds, arguments, false);
  }
  const long seconds = std::strtol(arguments.Value("watch", "2").c_str(), nullptr, 10);
  if (seconds < 1 || seconds > 86400) {
    std::fprintf(stderr, "--watch takes 1 to 86400 seconds\n");
    return kExitUsage;
  }
  for (;;) {
    const int result = ShowOnce(*root, *kinds, arguments, true);
    if (result == kExitCannot) {
      return result;
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
  }
}

}  // namespace

const Command kStatusCommand = {
    "status",
    "",
    "what the gateway is doing, and what that means",
    kOptions,
    "0 fine, 1 a warning, 2 critical, 3 unknown, 64 wrong usage, 70 the output can't be written",
    RunStatus};

}  // namespace datacollector::ctl
