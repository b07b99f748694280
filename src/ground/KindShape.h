// What each kind is called and made of. Everything that is counted per kind, line or meter is counted here.
#pragma once

#include <array>
#include <cstddef>

#include "ground/KindTable.h"

namespace datacollector {

// An I/O kind counts as one line with one meter. SNMP's meters are its devices.
struct KindShape {
  SourceKind kind;

  const char* word;          // in most messages
  const char* functionWord;  // in function names, and in the messages that quote them
  const char* indexWord;     // where messages show an index of a per-kind table

  std::size_t sources;        // that the configuration can enable: the kind itself, or its first lines
  std::size_t columnSources;  // of these, the first ones: one must be enabled for the columns to be read
  std::size_t storedLines;    // whose records are stored
  std::size_t lines;          // that may be counted
  std::size_t meters;         // on a line
};

// The columns of RS-485 follow its first three lines only: a gateway whose only enabled line is the fourth
// has control settings and no columns.
inline constexpr auto kKinds = KindTable<KindShape>({
    // kind, words, sources, those with columns, stored lines, lines, meters
    {AIO, "AIO", "AI", "AIO", 1, 1, 1, 1, 1},
    {DIO, "DIO", "DIO", "DIO", 1, 1, 1, 1, 1},
    {TEMPERATURE, "Temperature", "Temperature", "TEMPERATURE", 1, 1, 1, 1, 1},
    {RS485, "RS485", "RS485", "RS485", 4, 3, 2, 10, 100},
    {RS232, "RS232", "RS232", "RS232", 1, 1, 1, 1, 10},
    {SNMP, "SNMP", "SNMP", "SNMP", 1, 1, 1, 1, 10},
});

static_assert(std::all_of(kKinds.begin(), kKinds.end(), [](const KindShape& shape) {
  return shape.columnSources <= shape.sources && shape.storedLines <= shape.lines &&
         (IsMeterKind(shape.kind) || shape.lines * shape.meters == 1);
}));

// One column of the table, to be indexed by the kind.
consteval std::array<const char*, kSourceKinds> WordsOf(const char* KindShape::*word) {
  std::array<const char*, kSourceKinds> words{};
  std::transform(kKinds.begin(), kKinds.end(), words.begin(),
                 [word](const KindShape& shape) { return shape.*word; });
  return words;
}
inline constexpr auto kKindWord = WordsOf(&KindShape::word);
inline constexpr auto kKindFunctionWord = WordsOf(&KindShape::functionWord);
inline constexpr auto kKindIndexWord = WordsOf(&KindShape::indexWord);

// Entries of the kinds from `First` on, one for each of a kind's meters on each of its lines. The caller
// keeps line and meter inside the kind's shape.
template <typename Entry, std::size_t KindShape::*Lines, std::size_t First = 0>
class PerMeter {
 public:
  Entry& At(SourceKind kind, std::size_t meter = 0, std::size_t line = 0) {
    return entries_[kFirstEntry[kind] + line * kKinds[kind].meters + meter];
  }

  const Entry& At(SourceKind kind, std::size_t meter = 0, std::size_t line = 0) const {
    return entries_[kFirstEntry[kind] + line * kKinds[kind].meters + meter];
  }

  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }

 private:
  static constexpr auto kFirstEntry = [] {
    std::array<std::size_t, kSourceKinds + 1> firsts{};
    for (const SourceKind kind : kAllKinds) {
      firsts[kind + 1] = firsts[kind] + (kind < First ? 0 : kKinds[kind].*Lines * kKinds[kind].meters);
    }
    return firsts;
  }();

  std::array<Entry, kFirstEntry[kSourceKinds]> entries_;
};

}  // namespace datacollector
