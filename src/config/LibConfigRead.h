// Reading of the whole configuration, once, at start.
#pragma once

#include "app/ground/MainState.h"

namespace datacollector {

// Runs the nine readers in their fixed order over the files at their fixed paths. Always returns 0: what
// can't be read keeps its initial value, and a data-source file that can't be read ends the reading. Main
// thread, before any other thread exists; `main` has been zeroed.
int ReadConfig(DataCollectorMainStructure& main);

}  // namespace datacollector
