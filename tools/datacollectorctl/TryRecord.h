// How the daemon would pack a record: with its own packers, without a database.
#pragma once

#include <string>
#include <vector>

#include "GatewayTree.h"
#include "ground/SourceKind.h"

namespace datacollector::ctl {

struct TriedRecord {
  std::string refusal;              // empty: it would be stored
  std::vector<std::string> fields;  // of the record text
  std::vector<std::string> columns;
};

// Packs a payload as it comes in on the kind's record topic. Changes the received-record buffers of `main`.
TriedRecord TryRecord(DataCollectorMainStructure& main, SourceKind kind, const std::string& payload);

// Where the record text has the record number, counted from 0.
std::size_t PlaceOfRecordNumber(DataCollectorMainStructure& main, SourceKind kind);

}  // namespace datacollector::ctl
