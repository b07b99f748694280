// Storing of records that the I/O module and the temperature inputs publish.
#pragma once

#include "mqtt/inbound/InboundMessage.h"

namespace datacollector {

// Runs the branches of AIO, DIO and TEMPERATURE that the message's topic selects. MQTT network thread.
void IngestIoRecord(const InboundMessage& message);

// Prints the current minute; nothing depends on it.
void PrintCurrentMinute();

}  // namespace datacollector
