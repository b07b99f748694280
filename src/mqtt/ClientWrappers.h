// Starting, using and ending the MQTT client, with the messages and log lines that the daemon gives for it.
#pragma once

#include "mqtt/ClientConfig.h"

namespace datacollector {

// Makes the client and connects it: at most four attempts, 5 seconds apart. 0 when it is connected and its
// network thread runs, else -1. Main thread.
int Mosquitto_Initialization(ClientConfig& cfg);

// Takes the broker and the subscribe topics over into the client configuration. Returns 0.
int DataCollector_sub_client_config_load(ClientConfig& cfg);

// Publishes the client configuration's message on its topic, once. 0, or -1 when it was refused.
int Mosquitto_Publish(ClientConfig& cfg);

// Starts the network thread again if it has ended. The library's thread reconnects by itself, but gives up
// for good when memory runs out or when whoever answers as the broker sends nonsense; without it no record
// would ever arrive again. Main thread, from time to time.
void Mosquitto_KeepNetworkThread(ClientConfig& cfg);

// Ends the client and releases everything that its configuration owns.
void Mosquitto_Cleanup(ClientConfig& cfg);

}  // namespace datacollector
