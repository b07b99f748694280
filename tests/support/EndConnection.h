// The end of a client whose network thread runs.
#pragma once

#include <mosquitto.h>

namespace datacollector {

// Disconnects and lets the network thread end by itself, at the end of what it is doing. The library can also
// cancel it, but a thread that is cancelled within a callback leaves behind what the library held for it, and
// the leak checker fails a test that has passed.
inline void EndConnection(mosquitto* client) {
  mosquitto_disconnect(client);
  mosquitto_loop_stop(client, false);
}

}  // namespace datacollector
