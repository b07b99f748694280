#include "Display.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "Ledger.h"
#include "ground/KindShape.h"

namespace datacollector::sim {
namespace {

constexpr double kSecondsBetweenTables = 0.25;
constexpr double kSecondsBetweenLines = 5.0;

constexpr std::array<const char*, 6> kPhaseNames = {"connecting", "running",  "pausing",
                                                    "paused",     "settling", "ended"};

// Without a trace nobody knows what is stored.
std::string StoredText(const Ledger& ledger, const KindCounts& counts) {
  return ledger.Traced() ? std::to_string(counts.stored) : "-";
}

// A column of the table, and the width of the terminal from which it is shown.
struct Column {
  const char* head;
  const char* narrowHead;
  std::size_t width;
  std::size_t from;
  std::string (*cell)(const Ledger&, const KindCounts&);
};
constexpr std::array<Column, 5> kColumns = {{
    {"published", "publ", 10, 23,
     [](const Ledger&, const KindCounts& counts) { return std::to_string(counts.published); }},
    {"stored", "store", 10, 29, StoredText},
    {"handed over", "sent", 11, 41,
     [](const Ledger&, const KindCounts& counts) { return std::to_string(counts.handedOver); }},
    {"confirmed", "conf", 10, 35,
     [](const Ledger&, const KindCounts& counts) { return std::to_string(counts.confirmed); }},
    {"waiting", "wait", 10, 0,
     [](const Ledger&, const KindCounts& counts) { return std::to_string(counts.Waiting()); }},
}};
constexpr std::size_t kWideName = 12;
constexpr std::size_t kNarrowName = 11;
constexpr std::size_t kWideTable = 68;
constexpr std::size_t kNarrowColumn = 5;

// Of the terminal; without one, more than any table needs.
std::size_t WidthOf(std::FILE* out) {
  winsize size{};
  return ::ioctl(::fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 1000;
}

// A line of the table that is redrawn: one that the terminal breaks in two would move all others.
void PutLine(std::FILE* out, std::string line, std::size_t width) {
  line.resize(std::min(line.size(), width));
  std::fprintf(out, "\033[K%s\n", line.c_str());
}

// One line of the table in a terminal of that width.
template <typename Cell>
std::string Row(const std::string& name, std::size_t width, Cell cell) {
  const bool wide = width >= kWideTable;
  std::string row = name;
  row.resize(std::max(row.size(), wide ? kWideName : kNarrowName), ' ');
  for (const Column& column : kColumns) {
    if (width >= column.from) {
      const std::string text = cell(column, wide);
      const std::size_t cells = wide ? column.width : kNarrowColumn;
      row.append(1 + std::max(cells, text.size()) - text.size(), ' ').append(text);
    }
  }
  return row;
}

}  // namespace

const char* PhaseName(Phase phase) { return kPhaseNames[static_cast<std::size_t>(phase)]; }

Display::Display(std::FILE* out, bool live, bool quiet, std::vector<SourceKind> kinds, const Ledger& ledger)
    : out_(out),
      live_(live),
      quiet_(quiet),
      kinds_(std::move(kinds)),
      ledger_(ledger),
      nextDue_(live ? 0.0 : kSecondsBetweenLines) {}

void Display::Tick(double elapsed, Phase phase, const std::string& note) {
  if (quiet_) {
    return;
  }
  if (note != note_) {
    note_ = note;
    if (live_) {
      nextDue_ = elapsed;
    } else if (!note_.empty()) {
      std::fprintf(out_, "%5.0f s  %s\n", elapsed, note_.c_str());
    }
  }
  if (elapsed < nextDue_) {
    return;
  }
  nextDue_ = elapsed + (live_ ? kSecondsBetweenTables : kSecondsBetweenLines);
  if (live_) {
    DrawTable(elapsed, phase);
  } else {
    WriteLine(elapsed, phase);
  }
  std::fflush(out_);
}

void Display::DrawTable(double elapsed, Phase phase) {
  const std::size_t height = kinds_.size() + 3;
  if (drawn_) {
    std::fprintf(out_, "\033[%zuF", height);
  }
  drawn_ = true;
  const std::size_t width = WidthOf(out_);
  PutLine(
      out_,
      std::to_string(std::lround(elapsed)) + " s, " + PhaseName(phase) + (note_.empty() ? "" : ": ") + note_,
      width);
  PutLine(out_,
          Row("kind", width,
              [](const Column& column, bool wide) { return wide ? column.head : column.narrowHead; }),
          width);
  const auto put = [&](const char* name, const KindCounts& counts) {
    PutLine(out_, Row(name, width, [&](const Column& column, bool) { return column.cell(ledger_, counts); }),
            width);
  };
  for (const SourceKind kind : kinds_) {
    put(kKindIndexWord[kind], ledger_.Counts(kind));
  }
  put("total", ledger_.Total(kinds_));
}

void Display::WriteLine(double elapsed, Phase phase) {
  const KindCounts total = ledger_.Total(kinds_);
  std::fprintf(out_,
               "%5.0f s  %-10s  published %lu, stored %s, handed over %lu, confirmed %lu, waiting %lu (",
               elapsed, PhaseName(phase), total.published, StoredText(ledger_, total).c_str(),
               total.handedOver, total.confirmed, total.Waiting());
  const char* separator = "";
  for (const SourceKind kind : kinds_) {
    std::fprintf(out_, "%s%s %lu", separator, kKindIndexWord[kind], ledger_.Counts(kind).Waiting());
    separator = ", ";
  }
  std::fputs(")\n", out_);
}

void Display::Finish(double elapsed, Phase phase) {
  nextDue_ = 0.0;
  Tick(elapsed, phase, "");
}

void Display::Summary() {
  for (const SourceKind kind : kinds_) {
    const KindCounts& counts = ledger_.Counts(kind);
    std::fprintf(out_, "%-12s published %6lu   stored %6s   confirmed %6lu   lost %6lu", kKindIndexWord[kind],
                 counts.published, StoredText(ledger_, counts).c_str(), counts.confirmed, ledger_.Lost(kind));
    const std::array<std::pair<const char*, unsigned long>, 4> remarks = {{
        {"again", counts.again},
        {"duplicates", counts.duplicates},
        {"out of order", counts.outOfOrder},
        {"foreign", counts.foreign},
    }};
    const char* separator = "   (";
    for (const auto& [name, value] : remarks) {
      if (value != 0) {
        std::fprintf(out_, "%s%s %lu", separator, name, value);
        separator = ", ";
      }
    }
    std::fputs(*separator == ',' ? ")\n" : "\n", out_);
  }
  std::fflush(out_);
}

bool WriteReport(const std::string& path, Phase phase, unsigned long run,
                 const std::vector<SourceKind>& kinds, const Ledger& ledger) {
  const std::string draft = path + ".new";
  std::FILE* const file = std::fopen(draft.c_str(), "w");
  if (file == nullptr) {
    return false;
  }
  std::fprintf(file, "state %s\nrun %lu\n", PhaseName(phase), run);
  for (const SourceKind kind : kinds) {
    const KindCounts& counts = ledger.Counts(kind);
    std::fprintf(file,
                 "%s published %lu stored %lu handed-over %lu confirmed %lu waiting %lu lost %lu again %lu "
                 "duplicates %lu out-of-order %lu foreign %lu\n",
                 kKindIndexWord[kind], counts.published, counts.stored, counts.handedOver, counts.confirmed,
                 counts.Waiting(), ledger.Lost(kind), counts.again, counts.duplicates, counts.outOfOrder,
                 counts.foreign);
  }
  const bool written = std::fclose(file) == 0;
  return written && std::rename(draft.c_str(), path.c_str()) == 0;
}

}  // namespace datacollector::sim
