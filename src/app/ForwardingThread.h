// The one extra thread: while there is something to send and the WAN is up, it asks the sender of each kind
// that is due to hand over its oldest unsent record.
#pragma once

namespace datacollector {

// Creates the thread, once; it never ends. Main thread.
void StartForwardingThread();

// One round of the thread, with its sleeps. Forwarding thread.
void RunForwardingRound();

}  // namespace datacollector
