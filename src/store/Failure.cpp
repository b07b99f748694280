#include "store/Failure.h"

#include <sqlite3.h>

namespace datacollector {
namespace {

constexpr bool EachRowStandsInItsPlace() {
  for (std::size_t place = 0; place < kFailureMeanings.size(); ++place) {
    if (static_cast<std::size_t>(kFailureMeanings[place].failure) != place) {
      return false;
    }
  }
  return true;
}
static_assert(EachRowStandsInItsPlace());

struct CodeRow {
  int code;
  Failure failure;
};
constexpr std::array<CodeRow, 17> kCodes = {{
    {SQLITE_OK, Failure::None},
    {SQLITE_CONSTRAINT, Failure::Refused},
    {SQLITE_MISMATCH, Failure::Refused},
    {SQLITE_TOOBIG, Failure::Refused},
    {SQLITE_BUSY, Failure::Locked},
    {SQLITE_LOCKED, Failure::Locked},
    {SQLITE_PROTOCOL, Failure::Locked},
    {SQLITE_FULL, Failure::DiskFull},
    {SQLITE_READONLY, Failure::ReadOnly},
    {SQLITE_PERM, Failure::ReadOnly},
    {SQLITE_IOERR, Failure::InputOutput},
    {SQLITE_CANTOPEN, Failure::InputOutput},
    {SQLITE_NOLFS, Failure::InputOutput},
    {SQLITE_CORRUPT, Failure::Damaged},
    {SQLITE_NOTADB, Failure::Damaged},
    {SQLITE_NOMEM, Failure::Other},
    {SQLITE_INTERRUPT, Failure::Other},
}};

struct TextRow {
  std::string_view part;
  Failure failure;
};
constexpr std::array<TextRow, 4> kTexts = {{
    {"no such table", Failure::NoTable},
    {"no such column", Failure::NoColumn},
    {"has no column named", Failure::NoColumn},
    {" values for ", Failure::Refused},
}};

}  // namespace

Failure FailureOf(int code, std::string_view text) {
  constexpr int kPrimary = 0xff;
  for (const CodeRow& row : kCodes) {
    if (row.code == (code & kPrimary)) {
      return row.failure;
    }
  }
  for (const TextRow& row : kTexts) {
    if (text.find(row.part) != std::string_view::npos) {
      return row.failure;
    }
  }
  return Failure::Other;
}

}  // namespace datacollector
