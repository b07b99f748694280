// The keeper: connects again when the broker was lost, and says the notices that are due.
//
// A thread of its own, because the MQTT library's client can't be replaced on the network thread that it
// owns, and because a round of the control loop may take a minute.
#pragma once

namespace datacollector {

// Creates the thread, once the client has been connected for the first time; it never ends. Main thread.
void StartKeeperThread();

}  // namespace datacollector
