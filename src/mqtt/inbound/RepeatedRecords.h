// Records that the broker may deliver a second time: it repeats what a daemon that was killed, or cut off,
// has stored and not acknowledged yet. MQTT network thread.
#pragma once

#include "ground/SourceKind.h"

namespace datacollector {

// The next record of each kind may be stored already. After each connection to a session that the broker
// kept.
void ExpectRepeatedRecords();

// Whether the record of the kind that has just come may be stored already. Once a connection: whatever comes
// behind it, its equal included, is a reading of its own.
bool MayBeRepeated(SourceKind kind);

}  // namespace datacollector
