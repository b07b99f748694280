// Delivery confirmations of the HTTP Send App.
#pragma once

#include "mqtt/inbound/InboundMessage.h"

namespace datacollector {

// Writes the reported outcome into the delivered row of the kind whose confirmation topic the message came
// on, and releases the kind for its next record when the confirmation answers its last one. MQTT network
// thread.
void ApplyConfirmation(const InboundMessage& message);

}  // namespace datacollector
