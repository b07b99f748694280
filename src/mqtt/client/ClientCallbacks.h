// What the MQTT library reports about the connection. All run on its network thread, the log callback on
// whatever thread calls into the library; `object` is the client configuration. Inbound messages go to
// the handler that the configuration names.
#pragma once

#include <mosquitto.h>

namespace datacollector {

// Opens the publish gate and subscribes to every configured topic: at each connection that is accepted, so
// that a broker that was restarted is subscribed to again.
void on_connect_callback(mosquitto* mosq, void* object, int result);

// The same where the broker keeps the session. A client that has lived through a break goes on only with the
// session that it remembers: where the broker has none, it would send once more what was on its way, under
// message numbers that mean nothing there. Then this connection is given up, for one with a client made anew.
void on_session_callback(mosquitto* mosq, void* object, int result, int flags);

// Notes that the connection is down, wakes who makes the next one, and has the network thread end instead of
// connecting again by itself.
void on_disconnect_callback(mosquitto* mosq, void* object, int result);

void on_subscribe_callback(mosquitto* mosq, void* object, int mid, int qosCount, const int* grantedQos);
void on_publish_callback(mosquitto* mosq, void* object, int mid);
void on_log_callback(mosquitto* mosq, void* object, int level, const char* text);

}  // namespace datacollector
