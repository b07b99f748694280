// Storing of records that the energy-meter and SNMP applications publish.
#pragma once

#include "mqtt/inbound/InboundMessage.h"

namespace datacollector {

// Runs the branches of RS-485, RS-232 and SNMP that the message's topic selects. MQTT network thread.
void IngestMeterRecord(const InboundMessage& message);

}  // namespace datacollector
