// Fast rounds: what wakes the forwarding thread where the operator has shortened the pause of its rounds.
#pragma once

#include <cstdint>

#include "ground/SourceKind.h"

namespace datacollector {

// Whether the operator has switched fast rounds on. Settled by the configuration.
bool FastRounds();

// Has the next round begin at once. Does nothing without fast rounds. Any thread; called behind the last
// store that the round is to see.
void RingForRound();

// Waits until it is rung or the time is over; returns at once when it was rung since the last wait. Ends the
// calling thread's event: the trace is written first. Returns whether it was rung. Forwarding thread.
bool AwaitRing(std::int32_t milliseconds);

// A record of a meter kind was stored. With the usual rounds the main loop makes these kinds due every time;
// with fast ones that would be too late. MQTT network thread.
void WantFastRound(SourceKind kind);

}  // namespace datacollector
