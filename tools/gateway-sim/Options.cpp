#include "Options.h"

#include <getopt.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "Kinds.h"
#include "ground/KindShape.h"

namespace datacollector::sim {
namespace {

constexpr const char* kHelp =
    R"(Usage: gateway-sim [OPTION]...

Plays the applications around DataCollector on its MQTT broker: the source applications, which publish
records and alarms, and the HTTP Send App, which receives the forwarded packets and confirms them. Every
record carries a running number, so that each packet is matched to the record it came from.

Broker
  --host HOST             broker to use (127.0.0.1)
  --port PORT             its port (1883)

Source applications
  --kinds LIST            kinds to play: all, or some of aio,dio,temperature,rs485,rs232,snmp (all)
  --rate N                records per second and kind, fractions allowed (1)
  --count N               end after N records per kind
  --seconds N             end after N seconds of publishing; without --count and --seconds: run until stopped
  --alarms EVERY          every EVERY-th record of a kind is an alarm (none). RS-232 and SNMP send none:
                          the daemon stores no alarms of theirs
  --meters N              meters per RS-485 line (up to 100), RS-232 meters and SNMP devices (up to 10) (1)
  --lines N               RS-485 lines, 1 or 2 (1)

HTTP Send App
  --confirm yes|no        confirm packets or stay silent (yes)
  --delay MS              confirm so many milliseconds after a packet's arrival (0)
  --status N              report this transmission status (1); the status that the daemon's configuration
                          means as "not sent" makes it hand the record over again
  --drop EVERY            leave every EVERY-th packet of a kind unconfirmed (none)

End of the run
  --settle SECONDS        time after the last record for what waits to be confirmed (10); the run ends
                          sooner when nothing waits
  --expect-all-stored     status 1 unless every record was stored (needs --trace)
  --expect-all-confirmed  status 1 unless every record was handed over and confirmed, and none from two rows

Output
  --trace FILE            follow the daemon's standard output in FILE from its present end on, to count stored
                          records and applied confirmations
  --report FILE           write the state and the counts to FILE whenever the state changes
  --note FILE             show the first line of FILE with the progress, whenever it changes
  --quiet                 show no progress, only the summary
  --no-summary            show no summary
  --fastest-second        say at the end how many records were handed over in the fastest second
  --help                  show this text

Signals
  SIGINT, SIGTERM         end the run with the summary
  SIGUSR1                 pause publishing. What is under way arrives first (at the broker and, with --trace,
                          in the tables); then the report says "state paused". What is published while the
                          daemon is down never reaches it: pause before stopping the daemon
  SIGUSR2                 go on. Pauses do not count as time of --seconds

A lost connection is made again, and what the broker had not acknowledged is published again. The source
applications wait 3 seconds longer, so that the daemon has subscribed before they go on.

Counts
  published               records that the broker has taken over
  stored                  records that the daemon reports as stored (with --trace)
  handed over             records that the HTTP Send App has received
  confirmed               records whose confirmation the daemon has applied (with --trace), or the broker
                          has taken over (without)
  waiting                 published, not confirmed yet
  lost                    not handed over, though a younger record was; with --trace also: not stored
  again                   packets of a record that had been handed over before: retries, restarts
  duplicates              packets of a record that came from a second row: stored twice
  out of order            records handed over after a younger one
  foreign                 packets that are no record of this run

Report: lines of "name value"; "state" (connecting, running, pausing, paused, settling, ended), "run" (the tag
that all records of this run carry in the value after the running number), then one line per kind.

Exit status: 0 all as expected; 1 something expected did not happen, or there was no broker; 2 bad options.
)";

enum OptionId {
  kHost = 1,
  kPort,
  kKinds,
  kRate,
  kCount,
  kSeconds,
  kAlarms,
  kMeters,
  kLines,
  kConfirm,
  kDelay,
  kStatus,
  kDrop,
  kSettle,
  kExpectAllStored,
  kExpectAllConfirmed,
  kTrace,
  kReport,
  kNote,
  kQuiet,
  kNoSummary,
  kFastestSecond,
  kHelpOption
};

constexpr std::array<option, 24> kLongOptions = {{
    {"host", required_argument, nullptr, kHost},
    {"port", required_argument, nullptr, kPort},
    {"kinds", required_argument, nullptr, kKinds},
    {"rate", required_argument, nullptr, kRate},
    {"count", required_argument, nullptr, kCount},
    {"seconds", required_argument, nullptr, kSeconds},
    {"alarms", required_argument, nullptr, kAlarms},
    {"meters", required_argument, nullptr, kMeters},
    {"lines", required_argument, nullptr, kLines},
    {"confirm", required_argument, nullptr, kConfirm},
    {"delay", required_argument, nullptr, kDelay},
    {"status", required_argument, nullptr, kStatus},
    {"drop", required_argument, nullptr, kDrop},
    {"settle", required_argument, nullptr, kSettle},
    {"expect-all-stored", no_argument, nullptr, kExpectAllStored},
    {"expect-all-confirmed", no_argument, nullptr, kExpectAllConfirmed},
    {"trace", required_argument, nullptr, kTrace},
    {"report", required_argument, nullptr, kReport},
    {"note", required_argument, nullptr, kNote},
    {"quiet", no_argument, nullptr, kQuiet},
    {"no-summary", no_argument, nullptr, kNoSummary},
    {"fastest-second", no_argument, nullptr, kFastestSecond},
    {"help", no_argument, nullptr, kHelpOption},
    {nullptr, 0, nullptr, 0},
}};

// The number that `text` is, when it lies within the bounds.
std::optional<double> Number(const char* text, double least, double most) {
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || errno != 0 || !std::isfinite(value) || value < least || value > most) {
    return std::nullopt;
  }
  return value;
}

template <typename T>
bool SetNumber(const char* text, double least, double most, T& target) {
  const std::optional<double> value = Number(text, least, most);
  if (!value || static_cast<double>(static_cast<T>(*value)) != *value) {
    return false;
  }
  target = static_cast<T>(*value);
  return true;
}

bool SetYesNo(std::string_view text, bool& target) {
  target = text == "yes";
  return target || text == "no";
}

bool SetText(const char* text, std::string& target) {
  target = text;
  return !target.empty();
}

// Kinds keep the daemon's order, whatever the order of the list.
bool SetKinds(const char* text, std::vector<SourceKind>& kinds) {
  std::array<bool, kSourceKinds> chosen{};
  std::string_view rest = text;
  while (true) {
    const std::size_t comma = rest.find(',');
    const std::string name(rest.substr(0, comma));
    if (strcasecmp(name.c_str(), "all") == 0) {
      chosen.fill(true);
    } else if (const auto kind = KindOfName(name)) {
      chosen[*kind] = true;
    } else {
      return false;
    }
    if (comma == std::string_view::npos) {
      break;
    }
    rest.remove_prefix(comma + 1);
  }
  kinds.clear();
  std::copy_if(kAllKinds.begin(), kAllKinds.end(), std::back_inserter(kinds),
               [&chosen](SourceKind kind) { return chosen[kind]; });
  return true;
}

constexpr double kMostRecords = 4e9;
constexpr double kMostSeconds = 1e9;

bool SetOption(int id, const char* text, Options& options) {
  switch (id) {
    case kHost:
      return SetText(text, options.host);
    case kPort:
      return SetNumber(text, 1, 65535, options.port);
    case kKinds:
      return SetKinds(text, options.kinds);
    case kRate:
      return SetNumber(text, 1e-6, 1e6, options.rate);
    case kCount:
      return SetNumber(text, 1, kMostRecords, options.count);
    case kSeconds:
      return SetNumber(text, 1e-3, kMostSeconds, options.seconds);
    case kAlarms:
      return SetNumber(text, 1, kMostRecords, options.alarmEvery);
    case kMeters:
      return SetNumber(text, 1, static_cast<double>(datacollector::kKinds[RS485].meters), options.meters);
    case kLines:
      return SetNumber(text, 1, static_cast<double>(datacollector::kKinds[RS485].storedLines), options.lines);
    case kConfirm:
      return SetYesNo(text, options.confirm);
    case kDelay:
      return SetNumber(text, 0, kMostSeconds, options.delayMilliseconds);
    case kStatus:
      return SetNumber(text, -2147483648.0, 2147483647.0, options.status);
    case kDrop:
      return SetNumber(text, 1, kMostRecords, options.dropEvery);
    case kSettle:
      return SetNumber(text, 0, kMostSeconds, options.settle);
    case kTrace:
      return SetText(text, options.trace);
    case kReport:
      return SetText(text, options.report);
    case kNote:
      return SetText(text, options.note);
    case kExpectAllStored:
      return options.expectAllStored = true;
    case kExpectAllConfirmed:
      return options.expectAllConfirmed = true;
    case kFastestSecond:
      return options.fastestSecond = true;
    case kNoSummary:
      options.summary = false;
      return true;
    default:
      return options.quiet = true;
  }
}

}  // namespace

ParseResult ParseOptions(int argc, char** argv, Options& options, std::string& error) {
  optind = 0;
  opterr = 0;
  int index = 0;
  int id = 0;
  while ((id = getopt_long(argc, argv, ":", kLongOptions.data(), &index)) != -1) {
    if (id == kHelpOption) {
      return ParseResult::kHelp;
    }
    if (id == '?' || id == ':') {
      error = std::string(id == ':' ? "missing value for " : "unknown option ") + argv[optind - 1];
      return ParseResult::kBad;
    }
    if (!SetOption(id, optarg, options)) {
      error = std::string("bad value for --") + kLongOptions[static_cast<std::size_t>(index)].name + ": " +
              optarg;
      return ParseResult::kBad;
    }
  }
  if (optind < argc) {
    error = std::string("unexpected argument ") + argv[optind];
    return ParseResult::kBad;
  }
  if (options.expectAllStored && options.trace.empty()) {
    error = "--expect-all-stored needs --trace";
    return ParseResult::kBad;
  }
  return ParseResult::kRun;
}

const char* HelpText() { return kHelp; }

}  // namespace datacollector::sim
