// The steps of start-up between the single-instance guard and the main control loop. Main thread.
#pragma once

#include "ground/MainState.h"

namespace datacollector {

// Zeroes the main state record and every flag group.
void Initialize_GlobalVariables();

// Creates the databases that are missing, kind after kind. An existing file is not opened or checked. Always
// returns 0.
int CreateDataCollectorDataBases(const DataCollectorMainStructure& main);

}  // namespace datacollector
