#include "ground/Notices.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <mutex>

#include "ground/FileLogger.h"
#include "ground/FixedText.h"
#include "ground/KindShape.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

// The subject of a notice, and its index in the tables below.
enum Subject : std::size_t { kLost, kMisfit, kEvicted };
constexpr std::size_t kSubjects = 3;

struct SubjectRow {
  Subject subject;
  std::int64_t pause;  // between two lines of a kind, in milliseconds
  bool countsLeftOut;  // false: the newest line replaces those that were left out
};

constexpr std::array<SubjectRow, kSubjects> kRows = {{
    {kLost, 1000, true},
    {kMisfit, 1000, true},
    {kEvicted, 60'000, false},
}};

using NoticeLine = FixedText<400>;

// The notices of one subject and kind. `mutex` below guards all of them; no line is written under it, so that
// an output that hangs holds up nobody else.
struct Pending {
  std::int64_t nextLine;  // not before this; milliseconds of the monotonic clock
  std::uint32_t leftOut;  // since the last line
  NoticeLine newest;      // of those left out
};

std::mutex mutex;
std::array<std::array<Pending, kSourceKinds>, kSubjects> pendings;

std::int64_t Milliseconds(ClockSource clock) {
  const timespec now = TakeMonotonicClock(clock).now;
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// A reason or a time may have come from outside: whatever it holds, a notice stays one line.
void KeepToOneLine(NoticeLine& line) {
  for (char& character : line.characters) {
    const auto value = static_cast<unsigned char>(character);
    if ((value != 0 && value < 0x20) || value == 0x7f) {
      character = ' ';
    }
  }
}

void Say(const NoticeLine& line, std::uint32_t others) {
  FixedText<24> more{};
  if (others > 0) {
    more.Format(" (and %u more)", others);
  }
  PrintError("%s%s\n", line.c_str(), more.c_str());
  WriteLog("%s%s", line.c_str(), more.c_str());
}

void Report(Subject subject, SourceKind kind, NoticeLine& line, ClockSource clock) {
  KeepToOneLine(line);
  const SubjectRow& row = kRows[subject];
  const std::int64_t now = Milliseconds(clock);
  std::uint32_t others = 0;
  {
    const std::lock_guard lock(mutex);
    Pending& pending = pendings[subject][kind];
    if (now < pending.nextLine) {
      pending.leftOut += pending.leftOut < std::numeric_limits<std::uint32_t>::max() ? 1 : 0;
      pending.newest = line;
      return;
    }
    others = row.countsLeftOut ? pending.leftOut : 0;
    pending.leftOut = 0;
    pending.nextLine = now + row.pause;
  }
  Say(line, others);
}

// Says what was left out and is due at `now`, or all of it.
void Flush(std::int64_t now, bool all) {
  for (const SubjectRow& row : kRows) {
    for (const SourceKind kind : kAllKinds) {
      NoticeLine line{};
      std::uint32_t others = 0;
      {
        const std::lock_guard lock(mutex);
        Pending& pending = pendings[row.subject][kind];
        if (pending.leftOut == 0 || (!all && now < pending.nextLine)) {
          continue;
        }
        line = pending.newest;
        others = row.countsLeftOut ? pending.leftOut - 1 : 0;
        pending.leftOut = 0;
        pending.nextLine = now + row.pause;
      }
      Say(line, others);
    }
  }
}

}  // namespace

void ReportLostRecord(SourceKind kind, const char* reason, ClockSource clock) {
  NoticeLine line{};
  line.Format("%s record lost: %s", kKindIndexWord[kind], reason);
  Report(kLost, kind, line, clock);
}

void ReportMisfitConfirmation(SourceKind kind, std::int32_t record, const char* time, ClockSource clock) {
  NoticeLine line{};
  line.Format("%s confirmation fits no row: record %d, %s", kKindIndexWord[kind], record, time);
  Report(kMisfit, kind, line, clock);
}

void ReportEvictedRecords(SourceKind kind, std::uint32_t total, ClockSource clock) {
  NoticeLine line{};
  line.Format("%s unsent records evicted: %u", kKindIndexWord[kind], total);
  Report(kEvicted, kind, line, clock);
}

void FlushNotices(ClockSource clock) { Flush(Milliseconds(clock), false); }

void FlushAllNotices(ClockSource clock) { Flush(Milliseconds(clock), true); }

}  // namespace datacollector
