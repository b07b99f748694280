// Starting, using and ending the MQTT client, with the messages and log lines that the daemon gives for it.
#pragma once

#include <chrono>

#include "mqtt/client/ClientConfig.h"

namespace datacollector {

// Makes the client and connects it: at most four attempts, 5 seconds apart. 0 when it is connected and its
// network thread runs, else -1. Main thread.
int Mosquitto_Initialization(ClientConfig& cfg);

// Takes the broker and the subscribe topics over into the client configuration. Returns 0.
int DataCollector_sub_client_config_load(ClientConfig& cfg);

// Publishes the client configuration's message on its topic, once. 0, or -1 when it was refused.
int Mosquitto_Publish(ClientConfig& cfg);

// Waits until the connection has been lost; false when it has not by then. Keeper thread.
bool Mosquitto_WaitForLoss(ClientConfig& cfg, std::chrono::milliseconds patience);

// One attempt to connect again after a loss, with a client made anew: the library keeps half-received
// messages over a reconnection, which would meet the message numbers of a broker that has started from new.
// Where the broker keeps the session, the client stays, and with it what was on its way in either direction,
// unless the broker has said that the session is gone. 0 when a connection is on its way. Keeper thread.
int Mosquitto_Reconnect(ClientConfig& cfg);

// Ends the client and releases everything that its configuration owns.
void Mosquitto_Cleanup(ClientConfig& cfg);

}  // namespace datacollector
