// What became of every record that the simulator published: the one place that counts.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Kinds.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {

// A kind's totals. Records count once in each of the first five, however often they were handed over.
struct KindCounts {
  unsigned long offered = 0;     // given to the client library
  unsigned long published = 0;   // taken over by the broker
  unsigned long stored = 0;      // stored lines of the daemon's trace; stays 0 without one
  unsigned long handedOver = 0;  // received by the HTTP Send App
  unsigned long confirmed = 0;   // with a trace: applied by the daemon; without: taken over by the broker
  unsigned long again = 0;       // the same row handed over once more: a retry or a restart
  unsigned long duplicates = 0;  // the same record handed over from another row: stored twice
  unsigned long outOfOrder = 0;  // handed over for the first time after a younger record
  unsigned long foreign = 0;     // packets that no record of this run explains
  unsigned long overtaken = 0;   // not handed over, though a younger record was

  // Not confirmed yet, the lost ones included.
  unsigned long Waiting() const { return published > confirmed ? published - confirmed : 0; }
};

// What the simulator reads of a forwarded packet. The read time and the record number identify the row.
struct Packet {
  std::string readTime;
  std::string recordNumberText;
  unsigned long recordNumber = 0;
  unsigned long number = 0;
  bool ours = false;  // a record of this run
};

// False when the packet has too few values to be confirmed.
bool ParsePacket(const KindProfile& profile, std::string_view text, unsigned long run, Packet& packet);

class Ledger {
 public:
  // `traced`: confirmations count when the daemon's trace reports them.
  explicit Ledger(bool traced) : traced_(traced) {}

  bool Traced() const { return traced_; }

  // The running number of the kind's next record.
  unsigned long Offer(SourceKind kind);
  void Published(SourceKind kind) { ++books_[kind].counts.published; }
  void Stored(SourceKind kind) { ++books_[kind].counts.stored; }
  void HandedOver(SourceKind kind, const Packet& packet);
  void Confirmed(SourceKind kind, const Packet& packet);
  // The daemon applied a confirmation for the row with this record number.
  void Applied(SourceKind kind, unsigned long recordNumber);

  const KindCounts& Counts(SourceKind kind) const { return books_[kind].counts; }
  // Records that will never be handed over, as far as can be told: those that were overtaken and, with a
  // trace, those that were not stored.
  unsigned long Lost(SourceKind kind) const;
  KindCounts Total(const std::vector<SourceKind>& kinds) const;

  // Whether everything offered has arrived where the simulator can see it: at the broker and, with a trace,
  // in the tables.
  bool AllArrived(const std::vector<SourceKind>& kinds) const;
  bool AllStored(const std::vector<SourceKind>& kinds) const;
  bool AllConfirmed(const std::vector<SourceKind>& kinds) const;

 private:
  struct Record {
    std::uint32_t recordNumber = 0;  // of the row it was first handed over from; 0: not yet
    bool confirmed = false;
  };
  struct Book {
    KindCounts counts;
    std::vector<Record> records;                                   // by running number, from 1
    unsigned long youngest = 0;                                    // highest running number handed over
    std::unordered_map<unsigned long, unsigned long> numberOfRow;  // running number by record number
  };

  static void MarkConfirmed(Book& book, unsigned long number);

  bool traced_;
  std::array<Book, kSourceKinds> books_;
};

}  // namespace datacollector::sim
