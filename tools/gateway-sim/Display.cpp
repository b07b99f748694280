#include "Display.h"

#include <array>
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
  std::fprintf(out_, "\033[K%.0f s, %s%s%s\n", elapsed, PhaseName(phase), note_.empty() ? "" : ": ",
               note_.c_str());
  std::fprintf(out_, "\033[K%-12s %10s %10s %11s %10s %10s\n", "kind", "published", "stored", "handed over",
               "confirmed", "waiting");
  for (const SourceKind kind : kinds_) {
    DrawRow(kKindIndexWord[kind], ledger_.Counts(kind));
  }
  DrawRow("total", ledger_.Total(kinds_));
}

void Display::DrawRow(const char* name, const KindCounts& counts) {
  std::fprintf(out_, "\033[K%-12s %10lu %10s %11lu %10lu %10lu\n", name, counts.published,
               StoredText(counts).c_str(), counts.handedOver, counts.confirmed, counts.Waiting());
}

void Display::WriteLine(double elapsed, Phase phase) {
  const KindCounts total = ledger_.Total(kinds_);
  std::fprintf(out_,
               "%5.0f s  %-10s  published %lu, stored %s, handed over %lu, confirmed %lu, waiting %lu (",
               elapsed, PhaseName(phase), total.published, StoredText(total).c_str(), total.handedOver,
               total.confirmed, total.Waiting());
  const char* separator = "";
  for (const SourceKind kind : kinds_) {
    std::fprintf(out_, "%s%s %lu", separator, kKindIndexWord[kind], ledger_.Counts(kind).Waiting());
    separator = ", ";
  }
  std::fputs(")\n", out_);
}

// Without a trace nobody knows.
std::string Display::StoredText(const KindCounts& counts) const {
  return ledger_.Traced() ? std::to_string(counts.stored) : "-";
}

void Display::Finish(double elapsed, Phase phase) {
  nextDue_ = 0.0;
  Tick(elapsed, phase, "");
}

void Display::Summary() {
  for (const SourceKind kind : kinds_) {
    const KindCounts& counts = ledger_.Counts(kind);
    std::fprintf(out_, "%-12s published %6lu   stored %6s   confirmed %6lu   lost %6lu", kKindIndexWord[kind],
                 counts.published, StoredText(counts).c_str(), counts.confirmed, ledger_.Lost(kind));
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
