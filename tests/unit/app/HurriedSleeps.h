// Sleeps that end at once: the code under test asks for whole seconds.
#pragma once

#include "unit/app/ThreadAlarm.h"

namespace datacollector {

// While it lives, a signal comes to the calling thread every millisecond and interrupts its sleeps, which are
// not resumed. What was slept is to be seen in the trace; each interruption is an error line.
class HurriedSleeps {
 public:
  HurriedSleeps() { alarm_.In(kMillisecond, kMillisecond); }

 private:
  static constexpr long kMillisecond = 1'000'000;  // in nanoseconds

  const ThreadAlarm alarm_{[](int /*signal*/) {}};
};

}  // namespace datacollector
