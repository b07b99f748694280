// The MQTT client: one connection to the broker on this machine, made with libmosquitto.
//
// Every operation returns 0 for success and 1 for failure unless said otherwise. Start-up runs on the main
// thread; after mosquitto_client_connect the library's network thread runs the callbacks until the connection
// is lost.
#pragma once

#include "mqtt/client/ClientConfig.h"

namespace datacollector {

// What mosquitto_client_topic_check looks at.
enum TopicCheckMode { kCheckPublishTopic = 1, kCheckSubscribeTopics = 2 };

// Sets the defaults of the client configuration. Returns 0.
int mosquitto_client_config_load(ClientConfig& cfg);

// Checks the publish topic or all subscribe topics; any other mode finds nothing. Names the first invalid
// one.
int mosquitto_client_topic_check(const ClientConfig& cfg, int mode);

// Builds the client identifier: "<id_base>/<process id>-<host name>", cut to the 23 characters that MQTT 3.1
// allows, so that of the host name nothing remains once the process id has four digits.
int client_id_generate(ClientConfig& cfg, const char* id_base);

// Initialises the library, makes the client and installs its callbacks and options.
int mosquitto_client_init(ClientConfig& cfg);

// Puts a client that knows nothing of earlier connections in the place of the present one: same identifier,
// callbacks and options. The present one's network thread must have ended. Keeper thread.
int mosquitto_client_renew(ClientConfig& cfg);

// One attempt to connect. Returns the library's result code.
int client_connect(mosquitto* mosq, const ClientConfig& cfg);

// One attempt to connect and, on success, the start of the network thread. Does not wait for the broker's
// answer: `status` tells when it has come.
int mosquitto_client_connect(ClientConfig& cfg);

// Publishes `message` on `topic` once. Fails without a connection, and nothing is kept for later. On the
// thread that filled them in.
int mosquitto_client_publish(ClientConfig& cfg);

// Destroys the client and releases what the configuration record owns.
void mosquitto_client_cleanup(ClientConfig& cfg);

}  // namespace datacollector
