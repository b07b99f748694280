#include "Ledger.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Kinds.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

// Every packet begins with the start mark, the site id, the read time and the record number.
constexpr std::size_t kReadTimePlace = 2;
constexpr std::size_t kRecordNumberPlace = 3;

std::vector<std::string> SplitAtCommas(std::string_view text) {
  std::vector<std::string> values;
  while (true) {
    const std::size_t comma = text.find(',');
    values.emplace_back(text.substr(0, comma));
    if (comma == std::string_view::npos) {
      return values;
    }
    text.remove_prefix(comma + 1);
  }
}

unsigned long NumberAt(const std::vector<std::string>& values, const PacketPlace& place) {
  const std::string& value = values[place.value];
  const std::size_t at = value.find(place.key);
  if (at == std::string::npos) {
    return 0;
  }
  return std::strtoul(value.c_str() + at + std::string_view(place.key).size(), nullptr, 10);
}

}  // namespace

bool ParsePacket(const KindProfile& profile, std::string_view text, unsigned long run, Packet& packet) {
  const std::vector<std::string> values = SplitAtCommas(text);
  if (values.size() <= kRecordNumberPlace) {
    return false;
  }
  packet = Packet{};
  packet.readTime = values[kReadTimePlace];
  packet.recordNumberText = values[kRecordNumberPlace];
  packet.recordNumber = std::strtoul(packet.recordNumberText.c_str(), nullptr, 10);
  if (values.size() == profile.packetValues && NumberAt(values, profile.run) == run) {
    packet.number = NumberAt(values, profile.number);
    packet.ours = true;
  }
  return true;
}

unsigned long Ledger::Offer(SourceKind kind) {
  Book& book = books_[kind];
  book.records.emplace_back();
  return ++book.counts.offered;
}

void Ledger::HandedOver(SourceKind kind, const Packet& packet) {
  Book& book = books_[kind];
  if (!packet.ours || packet.number == 0 || packet.number > book.records.size()) {
    ++book.counts.foreign;
    return;
  }
  Record& record = book.records[packet.number - 1];
  const auto row = static_cast<std::uint32_t>(packet.recordNumber);
  book.numberOfRow[row] = packet.number;
  if (record.recordNumber == 0) {
    record.recordNumber = row;
    ++book.counts.handedOver;
    book.counts.outOfOrder += packet.number < book.youngest ? 1 : 0;
    book.youngest = std::max(book.youngest, packet.number);
    book.counts.overtaken = book.youngest - book.counts.handedOver;
  } else if (record.recordNumber == row) {
    ++book.counts.again;
  } else {
    ++book.counts.duplicates;
  }
}

void Ledger::Confirmed(SourceKind kind, const Packet& packet) {
  if (!traced_ && packet.ours) {
    MarkConfirmed(books_[kind], packet.number);
  }
}

void Ledger::Applied(SourceKind kind, unsigned long recordNumber) {
  Book& book = books_[kind];
  const auto row = book.numberOfRow.find(recordNumber);
  if (traced_ && row != book.numberOfRow.end()) {
    MarkConfirmed(book, row->second);
  }
}

void Ledger::MarkConfirmed(Book& book, unsigned long number) {
  if (number == 0 || number > book.records.size() || book.records[number - 1].confirmed) {
    return;
  }
  book.records[number - 1].confirmed = true;
  ++book.counts.confirmed;
}

unsigned long Ledger::Lost(SourceKind kind) const {
  const KindCounts& counts = books_[kind].counts;
  const unsigned long seen = std::max(counts.stored, counts.handedOver);
  const unsigned long unstored = traced_ && counts.published > seen ? counts.published - seen : 0;
  return std::max(unstored, counts.overtaken);
}

KindCounts Ledger::Total(const std::vector<SourceKind>& kinds) const {
  KindCounts total;
  for (const SourceKind kind : kinds) {
    const KindCounts& counts = books_[kind].counts;
    total.offered += counts.offered;
    total.published += counts.published;
    total.stored += counts.stored;
    total.handedOver += counts.handedOver;
    total.confirmed += counts.confirmed;
    total.again += counts.again;
    total.duplicates += counts.duplicates;
    total.outOfOrder += counts.outOfOrder;
    total.foreign += counts.foreign;
    total.overtaken += counts.overtaken;
  }
  return total;
}

bool Ledger::AllArrived(const std::vector<SourceKind>& kinds) const {
  return std::all_of(kinds.begin(), kinds.end(), [this](SourceKind kind) {
    const KindCounts& counts = books_[kind].counts;
    return counts.published == counts.offered && (!traced_ || counts.stored >= counts.published);
  });
}

bool Ledger::AllStored(const std::vector<SourceKind>& kinds) const {
  return std::all_of(kinds.begin(), kinds.end(), [this](SourceKind kind) {
    const KindCounts& counts = books_[kind].counts;
    return counts.stored >= counts.offered;
  });
}

bool Ledger::AllConfirmed(const std::vector<SourceKind>& kinds) const {
  return std::all_of(kinds.begin(), kinds.end(), [this](SourceKind kind) {
    const KindCounts& counts = books_[kind].counts;
    return counts.handedOver == counts.offered && counts.confirmed == counts.offered;
  });
}

}  // namespace datacollector::sim
