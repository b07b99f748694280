// Why an operation on a table failed, and what that means for the next attempt.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace datacollector {

enum class Failure : std::uint8_t {
  None,
  Refused,      // the record itself: no literals, number of columns, a constraint
  NoColumn,     // the table has no column of that name
  NoTable,      // the table is missing
  Locked,       // somebody else holds the database
  DiskFull,     // no room
  ReadOnly,     // the file or disk takes no writes
  InputOutput,  // the disk fails, or the file can't be opened
  Damaged,      // the file is damaged or no database
  Other,
};

struct FailureMeaning {
  Failure failure;
  bool timeHeals;  // the next attempt waits; else it follows at once
  bool opensAnew;  // the next attempt doesn't use the connection of this one
};

// By failure. What a record or a file brings with it stays as it is, however long one waits, and waiting
// would hold up the other kinds. SQLite keeps a handle that it had to open read-only, and pages that it could
// not write.
inline constexpr std::array<FailureMeaning, 10> kFailureMeanings = {{
    // failure, time heals, opens anew
    {Failure::None, true, false},
    {Failure::Refused, false, false},
    {Failure::NoColumn, false, false},
    {Failure::NoTable, true, false},
    {Failure::Locked, true, false},
    {Failure::DiskFull, true, true},
    {Failure::ReadOnly, true, true},
    {Failure::InputOutput, true, true},
    {Failure::Damaged, false, true},
    {Failure::Other, true, false},
}};
constexpr const FailureMeaning& MeaningOf(Failure failure) {
  return kFailureMeanings[static_cast<std::size_t>(failure)];
}

// The failure behind a result code of SQLite, an extended one or not. SQLite has one code for all that it
// can't make sense of in a statement: there its text decides.
Failure FailureOf(int code, std::string_view text);

}  // namespace datacollector
