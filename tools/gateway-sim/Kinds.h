// What the simulator knows about each source kind: topics, payload, forwarded packet and the daemon's own
// words.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ground/SourceKind.h"

namespace datacollector::sim {

// Where a number stands in a forwarded packet: the zero-based value, and the key in front of it (empty where
// the value is nothing but the number).
struct PacketPlace {
  std::size_t value;
  const char* key;
};

struct KindProfile {
  SourceKind kind;
  const char* recordTopic;
  const char* alarmTopic;  // empty: the daemon stores no alarm of this kind
  const char* packetTopic;
  const char* statusTopic;
  std::size_t maxMeters;  // 0: the payload has neither meter nor line
  std::size_t maxLines;
  std::size_t packetValues;
  PacketPlace number;
  PacketPlace run;
  const char* storedText;   // the daemon's words when a record of the kind is in its table
  const char* appliedText;  // and when a confirmation is; the record number follows
  const char* payload;      // with {number}, {run}, {meter}, {line} and {time}
};

const KindProfile& ProfileOf(SourceKind kind);

// Parses a kind's name in any case; "temperature" is TEMPERATURE.
std::optional<SourceKind> KindOfName(std::string_view name);
std::optional<SourceKind> KindOfPacketTopic(std::string_view topic);

// What a payload's placeholders stand for. The running number counts a kind's records from 1; the run tells
// this run's records from those that an earlier run left in the tables.
struct PayloadValues {
  unsigned long number;
  unsigned long run;
  std::size_t meter;  // from 1
  std::size_t line;   // from 1
  std::string time;
};

std::string MakePayload(const KindProfile& profile, const PayloadValues& values);

// The local time as sources and the HTTP Send App write it, e.g. 2026-11-20 10:00:00.
std::string LocalTimeText();

}  // namespace datacollector::sim
