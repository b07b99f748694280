// How long a test waits for something before it counts as not happening.
#pragma once

#include <chrono>

namespace datacollector::gateway {

// Far above what anything takes on a loaded machine with sanitizers: a wait ends when its condition holds.
inline constexpr std::chrono::seconds kPatience{20};

}  // namespace datacollector::gateway
