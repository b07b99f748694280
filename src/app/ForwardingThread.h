// The one extra thread: while there is something to send and the WAN is up, it asks the sender of each kind
// that is due to hand over its oldest unsent record.
#pragma once

#include "ground/SourceKind.h"

namespace datacollector {

// Creates the thread, once; it never ends. Main thread.
void StartForwardingThread();

// Has the kind's sender asked if the kind is due. `releaseTime` is the kind's release time, read before the
// flags are looked at: a release that comes in between counts as one that came later. Forwarding thread.
void VisitIfDue(SourceKind kind, double releaseTime);

// One round of the thread, with its sleeps or the wait for the bell. Forwarding thread.
void RunForwardingRound();

}  // namespace datacollector
