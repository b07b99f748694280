// How long and with which chances a case runs: short within the suite, longer from scripts/torture.sh.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace datacollector::faults {

inline std::uint32_t NumberFrom(const char* variable, std::uint32_t otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

// Random choices of a case follow from this number alone.
inline std::uint32_t Seed() { return NumberFrom("DATACOLLECTOR_FAULT_SEED", 1); }

// How many times as long as in the short form a case shall be.
inline int Factor() { return static_cast<int>(NumberFrom("DATACOLLECTOR_FAULT_FACTOR", 1)); }

// The rounds (or seconds, or messages) of a case, multiplied for the long form, but not beyond `most`.
inline int Rounds(int inShortForm, int most = std::numeric_limits<int>::max()) {
  return std::min(inShortForm * Factor(), most);
}

}  // namespace datacollector::faults
