// The retry timers: a kind whose last record has waited longer than its publish interval for a confirmation
// is sent again. The main loop runs them each round; a timer sets its kind's retry flag and never clears it.
#pragma once

namespace datacollector {

// Main thread. The RS-232 and SNMP timers look at the RS-485 timer and flags: the meter kinds share one.
void SetAIDBRetryFlag();
void SetDIDBRetryFlag();
void SetTemperatureDBRetryFlag();
void SetRS485DBRetryFlag();
void SetRS232DBRetryFlag();
void SetSNMPDBRetryFlag();

}  // namespace datacollector
