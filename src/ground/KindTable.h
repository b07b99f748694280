// Tables with one row per kind. They are built here and nowhere else, so that the compiler refuses a table
// that a new kind was left out of, and a row that stands in another kind's place.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "ground/SourceKind.h"

namespace datacollector {

// Not constant expressions, so that a call ends the compilation, with the name as its message: an exception
// would do, but the gateway's build knows none.
inline void ARowOfAPerKindTableStandsInAnotherKindsPlace() {}
inline void AKindStandsInAPerKindTableTwiceAndAnotherOneNotAtAll() {}

// The rows for `Kinds` kinds from `First` on, each in the place of its kind. Does not compile with another
// number of rows, nor with a row whose `kind` is not its place.
template <typename Row, std::size_t First, std::size_t Kinds, std::size_t Rows>
consteval std::array<Row, Kinds> KindRows(const Row (&rows)[Rows]) {
  static_assert(Rows == Kinds, "a per-kind table has one row for each of its kinds");
  for (std::size_t place = 0; place < Rows; ++place) {
    if (rows[place].kind != First + place) {
      ARowOfAPerKindTableStandsInAnotherKindsPlace();
    }
  }
  return std::to_array(rows);
}

// A table of all kinds, which the kind indexes: KindTable<Row>({{AIO, ...}, {DIO, ...}, ...}).
template <typename Row, std::size_t Rows>
consteval std::array<Row, kSourceKinds> KindTable(const Row (&rows)[Rows]) {
  return KindRows<Row, 0, kSourceKinds>(rows);
}

// A table of the I/O kinds, which the kind indexes.
template <typename Row, std::size_t Rows>
consteval std::array<Row, kIoKinds> IoKindTable(const Row (&rows)[Rows]) {
  return KindRows<Row, 0, kIoKinds>(rows);
}

// A table of the meter kinds, to go through: its first row is that of the kind behind the last I/O kind.
template <typename Row, std::size_t Rows>
consteval std::array<Row, kSourceKinds - kIoKinds> MeterKindTable(const Row (&rows)[Rows]) {
  return KindRows<Row, kIoKinds, kSourceKinds - kIoKinds>(rows);
}

// A table of all kinds in an order of its own, to go through. Does not compile unless each kind stands in it
// once.
template <typename Row, std::size_t Rows>
consteval std::array<Row, kSourceKinds> KindSequence(const Row (&rows)[Rows]) {
  static_assert(Rows == kSourceKinds, "a per-kind table has one row for each kind");
  for (const SourceKind kind : kAllKinds) {
    if (std::count_if(rows, rows + Rows, [kind](const Row& row) { return row.kind == kind; }) != 1) {
      AKindStandsInAPerKindTableTwiceAndAnotherOneNotAtAll();
    }
  }
  return std::to_array(rows);
}

}  // namespace datacollector
