// What may stand in a statement: record data is data and never SQL.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace datacollector {

// The number of values of `text` when it is a list of SQL literals joined by commas, none otherwise.
//
//   number   sign? digits ('.' digits?)? (('e'|'E') sign? digits)?
//   integer  '0' ('x'|'X') hexadecimal digits, without a sign, at most 64 bits
//   text     between single or between double quotes, a quote of the same sort inside it doubled
//   NULL     in any case of its letters
//
// Blanks (space, tab, carriage return, line feed, form feed) may surround a literal. SQLite reads each
// accepted list as the same number of constants: nothing in it is evaluated.
std::optional<std::size_t> CountLiterals(std::string_view text);

// Whether `text` can stand between single quotes as it is.
inline bool IsQuotable(std::string_view text) { return text.find('\'') == std::string_view::npos; }

}  // namespace datacollector
