// What the outside sees of each source kind: its topics, its table, and what its records look like on the
// way. All of it as the example configuration sets it up.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ground/KindShape.h"

namespace datacollector::gateway {

using Row = std::map<std::string, std::string>;  // column name -> value as text

// In the texts "{request}" stands for the request id, "{number}" for the record number and "{time}" for the
// read time stamp.
struct KindFacts {
  const char* name;          // as in test names
  const char* recordTopic;   // source application -> daemon
  const char* packetTopic;   // daemon -> HTTP Send App
  const char* statusTopic;   // HTTP Send App -> daemon
  const char* controlFile;   // file of the daemon's configuration folder
  const char* keyPrefix;     // of the keys in the control file
  const char* enableKey;     // in the data-source file
  const char* intervalKey;   // in the data-source file: publish interval, seconds
  const char* databaseFile;  // file of the database folder
  const char* table;
  const char* payload;    // the example record as its source application publishes it
  const char* columns;    // the table's, joined by commas, in order
  const char* row;        // what is stored of the example record, in the columns' order, joined by '|'
  const char* packet;     // what is forwarded of it
  const char* stored;     // printed when a record has been stored
  const char* notStored;  // printed when a record could not be stored
  const char* updated;    // printed when a confirmation has been written
  const char* sent;       // printed when a packet has been handed over
};

extern const std::array<KindFacts, kSourceKinds> kFacts;

inline const KindFacts& FactsOf(SourceKind kind) { return kFacts.at(kind); }

struct Placeholders {
  int request = 7;
  int number = 1;
  std::string_view time = {};
};

// A text with its placeholders filled in.
std::string Fill(std::string_view text, const Placeholders& values);

// The example record of a kind with a request id of its own.
std::string PayloadOf(SourceKind kind, int request = 7);

// The row of the example record.
Row RowOf(SourceKind kind, const Placeholders& values);

std::vector<std::string> Split(std::string_view text, char separator);

}  // namespace datacollector::gateway
