// Numbers that come from outside: counts of the configuration, decimal texts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace datacollector {

// A configured count as one that tables have room for: 0 to `bound`.
constexpr std::size_t Bounded(std::int32_t count, std::size_t bound) {
  return std::min(static_cast<std::size_t>(std::max(count, 0)), bound);
}

// The number at the start of a text: blanks, a sign, digits; 0 where there is none, the nearest 32-bit value
// where it does not fit.
constexpr std::int32_t DecimalValue(std::string_view text) {
  constexpr std::int64_t kBound = std::int64_t{1} << 31U;
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  std::int64_t value = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') {
      break;
    }
    value = std::min(value * 10 + (digit - '0'), kBound);
  }
  value = std::min(negative ? -value : value, std::int64_t{std::numeric_limits<std::int32_t>::max()});
  return static_cast<std::int32_t>(value);
}

}  // namespace datacollector
