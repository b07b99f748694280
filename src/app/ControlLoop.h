// The main thread's work after start-up.
#pragma once

namespace datacollector {

// Starts the MQTT client and the forwarding thread, recovers the last record number of every enabled kind and
// then goes round for ever: periodic windows, re-opening of the meter kinds, retry timers. Returns only when
// the MQTT client can't be started, with -1. Main thread.
int DataCollector_Publish_Handler();

// One round, without its sleep.
void RunControlRound();

}  // namespace datacollector
