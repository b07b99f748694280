// How long and with which chances a case runs: short within the suite, longer from scripts/torture.sh.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace datacollector::faults {

inline std::uint32_t NumberFrom(const char* variable, std::uint32_t otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

// Random choices of a case follow from this number alone.
inline std::uint32_t Seed() { return NumberFrom("DATACOLLECTOR_FAULT_SEED", 1); }

// The rounds of a case, multiplied for the long form.
inline int Rounds(int inShortForm) {
  return inShortForm * static_cast<int>(NumberFrom("DATACOLLECTOR_FAULT_FACTOR", 1));
}

}  // namespace datacollector::faults
