// The retry timers: a kind whose last record has waited longer than its publish interval for a confirmation
// is sent again. The main loop runs them each round; a timer sets its kind's retry flag and never clears it.
#pragma once

#include "ground/GenericFunctions.h"
#include "ground/SourceKind.h"

namespace datacollector {

// Runs the timers of a kind. Those of RS-232 and SNMP look at the RS-485 timer and flags: the meter kinds
// share one, unless rounds are fast. Main thread.
void RunRetryTimers(SourceKind kind, ClockSource clock = ::clock_gettime);

// The same for one kind.
void SetAIDBRetryFlag();
void SetDIDBRetryFlag();
void SetTemperatureDBRetryFlag();
void SetRS485DBRetryFlag();
void SetRS232DBRetryFlag();
void SetSNMPDBRetryFlag();

}  // namespace datacollector
