#include "Verdicts.h"

#include <algorithm>
#include <array>

#include "ground/KindShape.h"

namespace datacollector::ctl {
namespace {

constexpr std::int64_t kSilentThread = 150;  // seconds; the broker answers a ping every 60
constexpr std::int64_t kSoon = 86400;        // seconds until a loss that is a warning
constexpr std::int64_t kUnconfirmed = 900;   // seconds an unsent record may wait while the WAN is up
constexpr std::array<const char*, kThreads> kThreadNames = {"main", "network", "forwarding"};

std::string Records(std::int64_t count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

// Each writes the reason and returns true when it applies.
struct DaemonRule {
  VerdictRow row;
  bool (*applies)(const GatewayTree&, const GatewayStatus&, std::string& reason);
};

bool IsDead(const GatewayTree& tree, const GatewayStatus& status, std::string& reason) {
  reason =
      status.daemon.known ? "process " + std::to_string(status.daemon.pid) + " has ended" : "doesn't run";
  return tree.IsLive() && !status.daemon.alive;
}

bool HasNoFigures(const GatewayTree&, const GatewayStatus& status, std::string& reason) {
  reason = std::string("runs without ") + kStatusFile;
  return status.daemon.alive && !status.daemon.known;
}

bool IsStuck(const GatewayTree&, const GatewayStatus& status, std::string& reason) {
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    if (status.daemon.alive && status.daemon.known && status.daemon.heartbeatAge[thread] > kSilentThread) {
      reason = std::string("its ") + kThreadNames[thread] + " thread gave no sign for " +
               SpanText(status.daemon.heartbeatAge[thread]);
      return thread != kNetworkThread || status.daemon.connected;
    }
  }
  return false;
}

bool HasOldConfiguration(const GatewayTree&, const GatewayStatus& status, std::string& reason) {
  reason = "a configuration file has changed since its start";
  return status.daemon.alive && status.daemon.known && status.daemon.digest != 0 &&
         status.daemon.digest != status.digest;
}

bool HasNoBroker(const GatewayTree&, const GatewayStatus& status, std::string& reason) {
  reason = "the daemon has no connection to 127.0.0.1:1883: no record comes in";
  return status.daemon.alive && status.daemon.known && !status.daemon.connected;
}

bool HasNoWanFile(const GatewayTree& tree, const GatewayStatus& status, std::string& reason) {
  reason = "/tmp/networkstatus can't be read: after a start nothing is sent";
  return tree.IsLive() && !status.lan && !status.wanUp;
}

bool HasNoWan(const GatewayTree& tree, const GatewayStatus& status, std::string& reason) {
  reason = "/tmp/networkstatus says down: records are kept and not sent";
  return tree.IsLive() && !status.lan && status.wanUp == false;
}

bool HasNoSources(const GatewayTree&, const GatewayStatus& status, std::string& reason) {
  reason = "no kind is enabled, or the data-source file can't be read";
  return !status.sourcesRead;
}

constexpr std::array<DaemonRule, 8> kDaemonRules = {{
    {{"daemon-down", Severity::Error, "The daemon doesn't run.",
      "start DataCollector and look at the end of /tmp/Log/DataCollectorApp/DataCollectorLog.txt"},
     IsDead},
    {{"daemon-no-figures", Severity::Warning, "The daemon runs, and its figures can't be read.",
      "make room in /tmp, or update the older of the two programs, and restart the daemon"},
     HasNoFigures},
    {{"daemon-stuck", Severity::Error, "A thread of the daemon gives no sign of life.",
      "restart the daemon; nothing that is stored is lost"},
     IsStuck},
    {{"configuration-newer", Severity::Warning, "The daemon runs with another configuration than the files'.",
      "run datacollectorctl check, then restart the daemon"},
     HasOldConfiguration},
    {{"broker-down", Severity::Error, "The daemon has no connection to the broker.",
      "start the broker on 127.0.0.1:1883"},
     HasNoBroker},
    {{"wan-unknown", Severity::Warning, "The state of the WAN can't be read.",
      "start the service that writes /tmp/networkstatus, or set enablelanmqtt"},
     HasNoWanFile},
    {{"wan-down", Severity::Warning, "The WAN is down.", "nothing to do here: mend the uplink"}, HasNoWan},
    {{"no-kinds", Severity::Error, "No kind is configured.", "run datacollectorctl check"}, HasNoSources},
}};

struct KindRule {
  VerdictRow row;
  bool (*applies)(const GatewayStatus&, const KindStatus&, std::string& reason);
};

bool IsUnreadable(const GatewayStatus&, const KindStatus& kind, std::string& reason) {
  reason = kind.database + ": " + kind.problem;
  return !kind.problem.empty() && !kind.rows;
}

bool IsUncounted(const GatewayStatus&, const KindStatus& kind, std::string& reason) {
  reason = kind.problem;
  return !kind.problem.empty() && kind.rows;
}

bool IsDestroying(const GatewayStatus&, const KindStatus& kind, std::string& reason) {
  reason = "the oldest row is unsent and the ring is full: every new record destroys an unsent one";
  return kind.recordsUntilLoss == 0;
}

// A record that has just come waits for its confirmation: no backlog while it is young and the ring mostly
// free.
bool IsBacklog(const GatewayStatus& status, const KindStatus& kind) {
  return status.takenAt - kind.oldestUnsentAt.value_or(0) > kUnconfirmed ||
         kind.recordsUntilLoss.value_or(0) * 2 < kind.limit.value_or(0);
}

bool IsSoonDestroying(const GatewayStatus& status, const KindStatus& kind, std::string& reason) {
  if (!kind.lossIn || kind.recordsUntilLoss == 0 || *kind.lossIn > kSoon || !IsBacklog(status, kind)) {
    return false;
  }
  reason = "the first unsent record will be destroyed in " + SpanText(*kind.lossIn) + ", after " +
           Records(*kind.recordsUntilLoss) + " more";
  return !kind.drainIn;
}

bool HasEvicted(const GatewayStatus&, const KindStatus& kind, std::string& reason) {
  reason =
      Records(kind.evictedEver.value_or(0)) + " made room before they were sent, since the database was made";
  return kind.evictedEver.value_or(0) > 0;
}

bool HasRefused(const GatewayStatus& status, const KindStatus& kind, std::string& reason) {
  reason = Records(kind.refused.value_or(0)) + " refused since the start, the last " +
           SpanText(status.takenAt - kind.refusedAt.value_or(status.takenAt)) + " ago";
  return kind.refused.value_or(0) > 0;
}

bool HasMisfits(const GatewayStatus&, const KindStatus& kind, std::string& reason) {
  reason = std::to_string(kind.misfit.value_or(0)) + " confirmations fitted no row";
  return kind.misfit.value_or(0) > 0;
}

bool IsUnconfirmed(const GatewayStatus& status, const KindStatus& kind, std::string& reason) {
  const bool sends = status.lan || status.wanUp == true;
  const std::int64_t since =
      status.takenAt - std::max({kind.confirmedAt.value_or(0), kind.oldestUnsentAt.value_or(status.takenAt),
                                 status.daemon.startedAt});
  reason = "the HTTP Send App has confirmed nothing for " + SpanText(since);
  return status.daemon.alive && sends && kind.unsent.value_or(0) > 0 && since > kUnconfirmed;
}

constexpr std::array<KindRule, 8> kKindRules = {{
    {{"database-unreadable", Severity::Error, "The kind's table can't be read.",
      "run datacollectorctl check --kind <kind>"},
     IsUnreadable},
    {{"unsent-unknown", Severity::Warning,
      "The unsent rows can't be counted without reading the whole table.",
      "give the status column the type TEXT INDEXED and create the index"},
     IsUncounted},
    {{"destroying", Severity::Error, "Every new record destroys an unsent one.",
      "restore the WAN or the HTTP Send App, or raise <P>MaxRowsCount and run datacollectorctl repair "
      "<kind> --renumber --apply"},
     IsDestroying},
    {{"loss-soon", Severity::Warning, "An unsent record will be destroyed within a day.",
      "restore the WAN or the HTTP Send App"},
     IsSoonDestroying},
    {{"evicted", Severity::Warning, "Unsent records have been destroyed.",
      "size <P>MaxRowsCount for the longest outage (docs/operation.md)"},
     HasEvicted},
    {{"refused", Severity::Warning, "Records could not be stored.",
      "see \"record lost\" on standard error and in the log; datacollectorctl check --try shows why"},
     HasRefused},
    {{"misfit", Severity::Warning, "Confirmations fitted no row.",
      "compare the write-time and read-time column keys; the row may have made room before"},
     HasMisfits},
    {{"unconfirmed", Severity::Error, "Records wait although the WAN is up.",
      "look whether the HTTP Send App runs and publishes on the kind's status topic"},
     IsUnconfirmed},
}};

}  // namespace

const char* WordOf(Severity severity) {
  constexpr std::array<const char*, 3> kWords = {"note", "warning", "error"};
  return kWords[static_cast<std::size_t>(severity)];
}

std::vector<VerdictRow> VerdictTable() {
  std::vector<VerdictRow> rows;
  rows.reserve(kDaemonRules.size() + kKindRules.size());
  for (const DaemonRule& rule : kDaemonRules) {
    rows.push_back(rule.row);
  }
  for (const KindRule& rule : kKindRules) {
    rows.push_back(rule.row);
  }
  return rows;
}

std::vector<Verdict> Judge(const GatewayTree& tree, const GatewayStatus& status,
                           const std::array<bool, kSourceKinds>& kinds) {
  std::vector<Verdict> verdicts;
  std::string reason;
  for (const DaemonRule& rule : kDaemonRules) {
    if (rule.applies(tree, status, reason)) {
      verdicts.push_back({rule.row.severity, rule.row.code, "gateway", reason, rule.row.remedy});
    }
  }
  for (const SourceKind source : kAllKinds) {
    for (const KindRule& rule : kKindRules) {
      if (kinds[source] && status.kinds[source].enabled &&
          rule.applies(status, status.kinds[source], reason)) {
        verdicts.push_back(
            {rule.row.severity, rule.row.code, kKindIndexWord[source], reason, rule.row.remedy});
      }
    }
  }
  std::ranges::stable_sort(verdicts, std::ranges::greater(), &Verdict::severity);
  return verdicts;
}

int ExitStatusOf(const GatewayStatus& status, const std::vector<Verdict>& verdicts) {
  if (!status.sourcesRead) {
    return 3;
  }
  return verdicts.empty() ? 0 : verdicts.front().severity == Severity::Error ? 2 : 1;
}

}  // namespace datacollector::ctl
