#include "Figures.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "ReadOnlyDatabase.h"
#include "config/ConfigDigest.h"
#include "ground/FixedText.h"

namespace datacollector::ctl {
namespace {

constexpr std::size_t kRateRows = 64;       // rows that a rate is taken from
constexpr std::size_t kHistoryRows = 2000;  // rows that the backlog's history is taken from

// A time stamp of a row: Epoch seconds or local time; quotes around it don't matter.
Number MomentOf(std::string text) {
  std::erase(text, '"');
  std::tm parts{};
  if (::strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &parts) != nullptr) {
    parts.tm_isdst = -1;
    const std::time_t moment = std::mktime(&parts);
    return moment < 0 ? Number() : Number(moment);
  }
  const std::int64_t seconds = std::strtoll(text.c_str(), nullptr, 10);
  return seconds > 0 ? Number(seconds) : Number();
}

// The names that the queries on one kind's table are made of.
struct TableNames {
  std::string table;
  std::string number;
  std::string readTime;
  std::string status;
  std::string statusTime;
  std::string unsent;
};

TableNames NamesOf(const DataCollectorMainStructure& main, SourceKind kind) {
  const DatabaseParams& params = main.DataCollectorDBParams[kind];
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  return {config.i8_TableName.c_str(),
          config.i8_RecordNumber.c_str(),
          params.i8_RecordReadTimeColumn.c_str(),
          params.i8_TxStatusColumn.c_str(),
          params.i8_TxStatusTimeColumn.c_str(),
          std::to_string(params.ui16_TxStatus)};
}

// Records per second of the moments in a query's first column; nothing when there are too few.
std::optional<double> RateOf(ReadOnlyDatabase& database, const std::string& query) {
  const std::optional<ReadOnlyDatabase::Rows> rows = database.Query(query);
  std::vector<std::int64_t> moments;
  for (const std::vector<std::string>& row : rows.value_or(ReadOnlyDatabase::Rows())) {
    if (const Number moment = MomentOf(row.front())) {
      moments.push_back(*moment);
    }
  }
  if (moments.size() < 2) {
    return std::nullopt;
  }
  const auto [first, last] = std::ranges::minmax(moments);
  return static_cast<double>(moments.size() - 1) /
         static_cast<double>(std::max<std::int64_t>(last - first, 1));
}

// What a look at the newest, the oldest and the oldest unsent row tells.
void ReadRing(ReadOnlyDatabase& database, const TableNames& names, KindStatus& kind, bool scan) {
  const std::string from = " FROM " + names.table;
  const std::string unsent = from + " WHERE " + names.status + " = " + names.unsent;
  kind.rows = database.Number("SELECT count(*)" + from, scan);
  if (!kind.rows) {
    kind.problem = database.Problem();
    if (!database.WouldScan()) {
      return;
    }
  }
  kind.unsent = database.Number("SELECT count(*)" + unsent, scan);
  if (!kind.unsent) {
    kind.problem =
        database.WouldScan() ? "no index on the column " + names.status + ": see --deep" : database.Problem();
  }
  kind.evictedEver = database.Number("PRAGMA user_version");
  const auto edge = [&](const std::string& tail) {
    const auto rows = database.Query("SELECT rowid, " + names.number + ", " + names.readTime + tail, scan);
    return rows && !rows->empty() ? rows->front() : std::vector<std::string>();
  };
  const std::vector<std::string> newest = edge(from + " ORDER BY rowid DESC LIMIT 1");
  const std::vector<std::string> oldest = edge(from + " ORDER BY rowid LIMIT 1");
  if (newest.empty() || oldest.empty()) {
    kind.storedEver = kind.rows ? Number(0) : Number();
    return;
  }
  kind.storedEver = std::strtoll(newest[0].c_str(), nullptr, 10);
  kind.newest = std::strtoll(newest[1].c_str(), nullptr, 10);
  kind.newestAt = MomentOf(newest[2]);
  if (kind.unsent.value_or(0) == 0 || !kind.rows || !kind.limit) {
    return;
  }
  const std::vector<std::string> first = edge(unsent + " ORDER BY rowid LIMIT 1");
  if (first.empty()) {
    return;
  }
  kind.oldestUnsentAt = MomentOf(first[2]);
  // Behind the free places, the rows in front of the oldest unsent one make room first.
  const std::int64_t before =
      std::strtoll(first[0].c_str(), nullptr, 10) - std::strtoll(oldest[0].c_str(), nullptr, 10);
  kind.recordsUntilLoss = std::max<std::int64_t>(*kind.limit - *kind.rows, 0) + before;

  const std::string recent = " ORDER BY rowid DESC LIMIT " + std::to_string(kRateRows);
  const std::optional<double> arrivals = RateOf(database, "SELECT " + names.readTime + from + recent);
  if (arrivals) {
    kind.lossIn = static_cast<std::int64_t>(static_cast<double>(*kind.recordsUntilLoss + 1) / *arrivals);
  }
  const std::optional<double> departures =
      RateOf(database, "SELECT " + names.statusTime + from + " WHERE rowid < " + first[0] + " AND " +
                           names.status + " <> " + names.unsent + recent);
  if (departures && *departures > arrivals.value_or(0)) {
    kind.drainIn =
        static_cast<std::int64_t>(static_cast<double>(*kind.unsent) / (*departures - arrivals.value_or(0)));
  }
}

// From the present backlog back in time: a row came with its read time and left with its transmission time.
void ReadHistory(ReadOnlyDatabase& database, const TableNames& names, KindStatus& kind) {
  const auto rows =
      database.Query("SELECT " + names.readTime + ", " + names.status + ", " + names.statusTime + " FROM " +
                     names.table + " ORDER BY rowid DESC LIMIT " + std::to_string(kHistoryRows));
  if (!rows || rows->empty() || !kind.unsent) {
    return;
  }
  std::vector<std::array<std::int64_t, 2>> events;  // moment, change
  for (const std::vector<std::string>& row : *rows) {
    const Number came = MomentOf(row[0]);
    const Number left = row[1] == names.unsent ? Number() : MomentOf(row[2]);
    if (came) {
      events.push_back({*came, 1});
    }
    if (left) {
      events.push_back({*left, -1});
    }
  }
  std::ranges::sort(events, std::greater<>());  // the newest first
  std::int64_t backlog = *kind.unsent;
  for (const auto& [moment, change] : events) {
    if (kind.backlog.empty() || kind.backlog.back()[0] != moment) {
      kind.backlog.push_back({moment, std::max<std::int64_t>(backlog, 0)});
    }
    backlog -= change;
  }
  std::ranges::reverse(kind.backlog);
}

void ReadKind(const GatewayTree& tree, SourceKind source, const Depth& depth, KindStatus& kind) {
  const TableNames names = NamesOf(*tree.main, source);
  kind.limit = tree.main->DataCollectorDBConfig[source].ui16_MAXRecords;
  kind.databaseBytes = SizeOfFile(kind.database);
  kind.logBytes = kind.databaseBytes ? Number(SizeOfFile(kind.database + "-wal").value_or(0)) : Number();
  ReadOnlyDatabase database;
  if (!database.Open(kind.database)) {
    kind.problem = database.Problem();
    return;
  }
  ReadRing(database, names, kind, depth.scan);
  if (depth.history) {
    ReadHistory(database, names, kind);
  }
}

std::optional<bool> ReadWan(const std::string& path) {
  if (!SizeOfFile(path)) {
    return std::nullopt;
  }
  std::FILE* file = std::fopen(path.c_str(), "re");
  if (file == nullptr) {
    return std::nullopt;
  }
  std::array<char, 10> line{};
  const bool read = std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr;
  std::fclose(file);
  return read ? std::optional<bool>(std::strtol(line.data(), nullptr, 10) != 0) : std::nullopt;
}

}  // namespace

std::string SpanText(std::int64_t seconds) {
  const auto text = [](std::int64_t value, const char* unit) { return std::to_string(value) + unit; };
  seconds = std::max<std::int64_t>(seconds, 0);
  const std::int64_t minutes = seconds / 60;
  const std::int64_t hours = minutes / 60;
  return hours >= 48     ? text(hours / 24, "d ") + text(hours % 24, "h")
         : hours > 0     ? text(hours, "h ") + text(minutes % 60, "min")
         : minutes >= 10 ? text(minutes, "min")
         : minutes > 0   ? text(minutes, "min ") + text(seconds % 60, "s")
                         : text(seconds, "s");
}

GatewayStatus TakeStatus(const GatewayTree& tree, const Depth& depth) {
  GatewayStatus status;
  status.takenAt = std::time(nullptr);
  status.digest = DigestOfConfiguration(tree.root.c_str());
  status.wanUp = ReadWan(tree.Path("/tmp/networkstatus"));
  status.lan = tree.main->DataCollectorSourcesConfig.i32_EnableLanMqtt != 0;
  status.daemon = ReadDaemonStatus(tree.root, status.kinds);
  for (const SourceKind source : kAllKinds) {
    KindStatus& kind = status.kinds[source];
    kind.enabled = IsSourceEnabled(tree.main->DataCollectorSourcesConfig, source);
    if (kind.enabled) {
      status.sourcesRead = true;
      kind.database = tree.Path(tree.main->DataCollectorDBConfig[source].i8_DatabaseName.c_str());
      ReadKind(tree, source, depth, kind);
    }
  }
  return status;
}

}  // namespace datacollector::ctl
