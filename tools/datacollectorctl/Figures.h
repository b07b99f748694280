// What can be known of a gateway at a moment, as numbers: the figures that every form of the status shows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "GatewayTree.h"
#include "ground/SourceKind.h"
#include "ground/StatusFile.h"

namespace datacollector::ctl {

using Number = std::optional<std::int64_t>;  // nothing: not known

// One kind. Times are seconds since the Epoch, spans are seconds.
struct KindStatus {
  bool enabled = false;
  std::string database;  // path on this machine
  std::string problem;   // why the table can't be read; empty: it can

  Number unsent;
  Number oldestUnsentAt;
  Number rows;
  Number limit;
  Number newest;
  Number newestAt;
  Number storedEver;
  Number evictedEver;
  Number recordsUntilLoss;  // that can still be stored before an unsent row makes room
  Number lossIn;            // the same as a span, at the present arrival rate
  Number drainIn;           // until nothing is unsent, at the present rates
  Number databaseBytes;
  Number logBytes;

  // Since the start of the daemon.
  Number stored;
  Number refused;
  Number refusedAt;
  Number misfit;
  Number handedOver;
  Number repeated;
  Number confirmed;
  Number confirmedAt;
  Number evictedAt;

  // Unsent records over time, oldest first: seconds since the Epoch and the backlog behind it.
  std::vector<std::array<std::int64_t, 2>> backlog;
};

struct DaemonStatus {
  bool known = false;  // a status file that this program understands is there
  bool alive = false;
  std::string version;
  std::uint64_t digest = 0;
  std::int64_t pid = 0;
  std::int64_t startedAt = 0;
  Number memoryBytes;
  bool connected = false;
  bool gateOpen = false;
  std::array<std::int64_t, kThreads> heartbeatAge{};  // seconds; -1: none yet
};

struct GatewayStatus {
  std::int64_t takenAt = 0;
  std::uint64_t digest = 0;  // of the configuration as it is now
  bool sourcesRead = false;  // some kind is configured
  DaemonStatus daemon;
  std::optional<bool> wanUp;  // nothing: the status file can't be read
  bool lan = false;           // the WAN's state doesn't matter
  std::array<KindStatus, kSourceKinds> kinds;
};

enum class Unit : std::uint8_t { Records, Moment, Span, Bytes };

// A figure of a kind, in every form of the status.
struct FigureRow {
  const char* name;  // in metrics and JSON
  const char* help;
  Unit unit;
  bool counter;  // grows only
  Number KindStatus::*value;
};

inline constexpr std::array<FigureRow, 22> kFigures = {{
    {"unsent_records", "Rows that are not confirmed yet.", Unit::Records, false, &KindStatus::unsent},
    {"oldest_unsent_timestamp_seconds", "Read time of the oldest unsent row.", Unit::Moment, false,
     &KindStatus::oldestUnsentAt},
    {"rows", "Rows in the table.", Unit::Records, false, &KindStatus::rows},
    {"row_limit", "Rows that the table holds.", Unit::Records, false, &KindStatus::limit},
    {"newest_record_number", "Number of the newest row.", Unit::Records, false, &KindStatus::newest},
    {"newest_record_timestamp_seconds", "Read time of the newest row.", Unit::Moment, false,
     &KindStatus::newestAt},
    {"stored_records_ever", "Records stored since the database was made.", Unit::Records, true,
     &KindStatus::storedEver},
    {"evicted_unsent_records_ever", "Unsent rows that made room since the database was made.", Unit::Records,
     true, &KindStatus::evictedEver},
    {"records_until_loss", "Records that can still be stored before an unsent row makes room.", Unit::Records,
     false, &KindStatus::recordsUntilLoss},
    {"time_until_loss_seconds", "The same as a span, at the present arrival rate.", Unit::Span, false,
     &KindStatus::lossIn},
    {"time_to_drain_seconds", "Until nothing is unsent, at the present rates.", Unit::Span, false,
     &KindStatus::drainIn},
    {"database_bytes", "Size of the database file.", Unit::Bytes, false, &KindStatus::databaseBytes},
    {"write_ahead_log_bytes", "Size of the log beside it.", Unit::Bytes, false, &KindStatus::logBytes},
    {"stored_records", "Records stored since the start.", Unit::Records, true, &KindStatus::stored},
    {"refused_records", "Records that could not be stored.", Unit::Records, true, &KindStatus::refused},
    {"refused_timestamp_seconds", "When the last record was refused.", Unit::Moment, false,
     &KindStatus::refusedAt},
    {"misfit_confirmations", "Confirmations that fitted no row.", Unit::Records, true, &KindStatus::misfit},
    {"handed_over_records", "Records handed to the HTTP Send App, repetitions included.", Unit::Records, true,
     &KindStatus::handedOver},
    {"repeated_hand_overs", "Hand-overs of the record that was handed over before.", Unit::Records, true,
     &KindStatus::repeated},
    {"confirmed_records", "Confirmations written into their rows.", Unit::Records, true,
     &KindStatus::confirmed},
    {"confirmed_timestamp_seconds", "When the last confirmation came.", Unit::Moment, false,
     &KindStatus::confirmedAt},
    {"evicted_unsent_timestamp_seconds", "When an unsent row last made room.", Unit::Moment, false,
     &KindStatus::evictedAt},
}};

// What the daemon's own file says. Checks that a live process holds it only on this machine.
DaemonStatus ReadDaemonStatus(const std::string& root, std::array<KindStatus, kSourceKinds>& kinds);

// Everything. `history` also reads the backlog over time, `scan` lets a query read a whole table.
struct Depth {
  bool history = false;
  bool scan = false;
};
GatewayStatus TakeStatus(const GatewayTree& tree, const Depth& depth);

// "3d 4h", "12min", "8s".
std::string SpanText(std::int64_t seconds);

}  // namespace datacollector::ctl
