// The one handler of every inbound MQTT message.
#pragma once

#include <mosquitto.h>

namespace datacollector {

// Prints the message, keeps a copy of it in the client configuration `object` and runs every branch that its
// topic selects. MQTT network thread, one message at a time.
void on_message_callback(mosquitto* mosq, void* object, const mosquitto_message* message);

}  // namespace datacollector
