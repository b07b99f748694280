// The client configuration record: everything about the daemon's one connection to its MQTT broker.
#pragma once

#include <mosquitto.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace datacollector {

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};

// A heap text with one owner; empty when it was never set or memory ran out.
using OwnedText = std::unique_ptr<char, FreeMemory>;

// A copy of `text`, at most `length` characters of it.
OwnedText CopyText(const char* text, std::size_t length);
OwnedText CopyText(const char* text);

inline constexpr int STATUS_CONNACK_RECVD = 1;

using MessageHandler = void (*)(mosquitto* mosq, void* object, const mosquitto_message* message);
using SessionHandler = void (*)();

struct ClientConfig {
  OwnedText id;
  OwnedText id_prefix;
  int protocol_version;
  int keepalive;     // seconds
  const char* host;  // not owned
  int port;
  int qos;  // of every subscription and every publish
  bool retain;

  // The next publish. Written by the thread that publishes: the forwarding thread for records, the caller of
  // a data request for requests.
  OwnedText message;
  long msglen;  // bytes, no terminator
  OwnedText topic;
  int mid;  // message id that the library gave the last publish

  const char* bind_address;

  // 0 until the broker has accepted a connection for the first time, then STATUS_CONNACK_RECVD for good.
  // Written by the network thread, read by the threads that publish.
  std::atomic<int> status;

  // Whether the connection stands at this moment. Written by the network thread, read by the threads that
  // publish: the library would keep a message that it can't send and deliver it later, a second time.
  std::atomic<bool> connected;

  bool debug;
  bool quiet;
  unsigned max_inflight;
  const char* username;
  const char* password;
  const char* will_topic;
  const char* will_payload;
  long will_payloadlen;
  int will_qos;
  bool will_retain;

  // False: the broker keeps the session under `id` while the daemon is away, and every message is delivered
  // at least once.
  bool clean_session;

  // Of a kept session. The network thread's; the keeper thread's while no network thread runs.
  bool remembers;    // the client has had a connection, and carries what was on its way then over to the next
  bool sessionGone;  // the broker knows nothing of what such a client remembers

  std::unique_ptr<OwnedText[]> topics;
  int topic_count;
  bool no_retain;
  std::unique_ptr<OwnedText[]> filter_outs;
  int filter_out_count;
  bool verbose;
  bool eol;

  // Guards the members below while several threads run. Held for moments only.
  std::mutex mutex;
  std::condition_variable connectionLost;
  bool lost;        // set by the network thread as its last deed, cleared by the keeper thread
  mosquitto* mosq;  // replaced by the keeper thread after each loss; used by the threads that publish

  // Takes every inbound message, on the network thread. Set once by whoever starts the client; nullptr:
  // nobody looks at them.
  MessageHandler onMessage;

  // Told, on the network thread, that the session which has been taken up again may repeat messages. Set like
  // onMessage.
  SessionHandler onKeptSession;

  // Copy of the last inbound message; its topic and payload are the record's own. Network thread only.
  mosquitto_message last_message;
};

extern ClientConfig gClientConfig;

// Sets the defaults, and the broker on this machine where no host is set. Always succeeds.
int client_config_init(ClientConfig& cfg);

// Releases every text that the record owns.
void client_config_cleanup(ClientConfig& cfg);

// Releases the copy of the last inbound message.
void ReleaseLastMessage(ClientConfig& cfg);

// Makes `topic` and `message` the next publish; the record keeps copies of its own.
void SetNextPublish(ClientConfig& cfg, const char* topic, const char* message);

}  // namespace datacollector
