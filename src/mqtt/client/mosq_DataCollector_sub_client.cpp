#include "mqtt/client/mosq_DataCollector_sub_client.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

#include "ground/MainState.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientCallbacks.h"

namespace datacollector {
namespace {

constexpr std::size_t kMaxIdentifier = 23;

struct PublishError {
  int result;
  const char* message;
};

// Other results are reported to the caller without a message.
constexpr std::array<PublishError, 5> kPublishErrors = {{
    {MOSQ_ERR_NOMEM, "Error: Out of memory when trying to publish message.\n"},
    {MOSQ_ERR_PROTOCOL, "Error: Protocol error when communicating with broker.\n"},
    {MOSQ_ERR_INVAL, "Error: Invalid input. Does your topic contain '+' or '#'?\n"},
    {MOSQ_ERR_NO_CONN, "Error: Client not connected when trying to publish.\n"},
    {MOSQ_ERR_PAYLOAD_SIZE, "Error: Message payload is too large.\n"},
}};

void Complain(const ClientConfig& cfg, const char* message) {
  if (!cfg.quiet) {
    PrintError("%s", message);
  }
}

// Reports a failure of making the client and leaves the library. Returns 1.
int FailInitialisation(const ClientConfig& cfg, const char* message) {
  Complain(cfg, message);
  mosquitto_lib_cleanup();
  return 1;
}

int client_opts_set(mosquitto* mosq, ClientConfig& cfg) {
  if (cfg.will_topic != nullptr &&
      mosquitto_will_set(mosq, cfg.will_topic, static_cast<int>(cfg.will_payloadlen), cfg.will_payload,
                         cfg.will_qos, cfg.will_retain) != MOSQ_ERR_SUCCESS) {
    return FailInitialisation(cfg, "Error: Problem setting will.\n");
  }
  if (cfg.username != nullptr &&
      mosquitto_username_pw_set(mosq, cfg.username, cfg.password) != MOSQ_ERR_SUCCESS) {
    return FailInitialisation(cfg, "Error: Problem setting username and password.\n");
  }
  mosquitto_max_inflight_messages_set(mosq, cfg.max_inflight);
  mosquitto_opts_set(mosq, MOSQ_OPT_PROTOCOL_VERSION, &cfg.protocol_version);
  // The four packets of a delivery are small and wait for each other: none may wait for a fuller segment.
  mosquitto_int_option(mosq, MOSQ_OPT_TCP_NODELAY, 1);
  return 0;
}

void InstallCallbacks(mosquitto* mosq, const ClientConfig& cfg) {
  if (cfg.debug) {
    mosquitto_log_callback_set(mosq, on_log_callback);
    mosquitto_publish_callback_set(mosq, on_publish_callback);
    mosquitto_subscribe_callback_set(mosq, on_subscribe_callback);
  }
  if (cfg.clean_session) {
    mosquitto_connect_callback_set(mosq, on_connect_callback);
  } else {
    mosquitto_connect_with_flags_callback_set(mosq, on_session_callback);
  }
  mosquitto_disconnect_callback_set(mosq, on_disconnect_callback);
  mosquitto_message_callback_set(mosq, cfg.onMessage);
}

// Hands the message to the library if there is one and the connection stands, else answers as the library
// would.
int PublishWhileConnected(ClientConfig& cfg) {
  if (!cfg.topic || !cfg.message) {
    return MOSQ_ERR_NOMEM;
  }
  const std::lock_guard lock(cfg.mutex);
  if (!cfg.connected || mosquitto_socket(cfg.mosq) < 0) {
    return MOSQ_ERR_NO_CONN;
  }
  return mosquitto_publish(cfg.mosq, &cfg.mid, cfg.topic.get(), static_cast<int>(cfg.msglen),
                           cfg.message.get(), cfg.qos, cfg.retain);
}

}  // namespace

int mosquitto_client_config_load(ClientConfig& cfg) { return client_config_init(cfg); }

int mosquitto_client_topic_check(const ClientConfig& cfg, int mode) {
  if (mode == kCheckPublishTopic && mosquitto_pub_topic_check(cfg.topic.get()) == MOSQ_ERR_INVAL) {
    PrintError("Error: Invalid publish topic '%s', does it contain '+' or '#'?\n",
               TextOrEmpty(cfg.topic.get()));
    return 1;
  }
  if (mode == kCheckSubscribeTopics) {
    for (int index = 0; index < cfg.topic_count; ++index) {
      const char* topic = cfg.topics[static_cast<std::size_t>(index)].get();
      if (mosquitto_sub_topic_check(topic) == MOSQ_ERR_INVAL) {
        PrintError("Error: Invalid subscription topic '%s', are all '+' and '#' wildcards correct?\n",
                   TextOrEmpty(topic));
        return 1;
      }
    }
  }
  return 0;
}

int client_id_generate(ClientConfig& cfg, const char* id_base) {
  const int processId = static_cast<int>(::getpid());
  char* text = nullptr;
  int length = 0;
  if (cfg.id_prefix) {
    length = ::asprintf(&text, "%s%d", cfg.id_prefix.get(), processId);
  } else if (!cfg.id) {
    std::array<char, 256> hostName{};
    ::gethostname(hostName.data(), hostName.size());
    hostName.back() = '\0';
    length = ::asprintf(&text, "%s/%d-%s", id_base, processId, hostName.data());
    if (length > static_cast<int>(kMaxIdentifier)) {
      text[kMaxIdentifier] = '\0';
    }
  } else {
    return 0;
  }
  if (length < 0) {
    return FailInitialisation(cfg, "Error: Out of memory.\n");
  }
  cfg.id.reset(text);
  return 0;
}

int mosquitto_client_init(ClientConfig& cfg) {
  mosquitto_lib_init();
  if (client_id_generate(cfg, "mosqDataCollector") != 0) {
    return 1;
  }
  errno = 0;
  cfg.mosq = mosquitto_new(cfg.id.get(), cfg.clean_session, &cfg);
  if (cfg.mosq == nullptr) {
    return FailInitialisation(cfg, errno == ENOMEM   ? "Error: Out of memory.\n"
                                   : errno == EINVAL ? "Error: invalid input parameters\n"
                                                     : "");
  }
  InstallCallbacks(cfg.mosq, cfg);
  return client_opts_set(cfg.mosq, cfg);
}

int mosquitto_client_renew(ClientConfig& cfg) {
  mosquitto* renewed = mosquitto_new(cfg.id.get(), cfg.clean_session, &cfg);
  if (renewed == nullptr) {
    return 1;
  }
  InstallCallbacks(renewed, cfg);
  client_opts_set(renewed, cfg);
  {
    const std::lock_guard lock(cfg.mutex);
    std::swap(cfg.mosq, renewed);
  }
  cfg.remembers = false;
  mosquitto_destroy(renewed);
  return 0;
}

int client_connect(mosquitto* mosq, const ClientConfig& cfg) {
  const int result = mosquitto_connect_bind(mosq, cfg.host, cfg.port, cfg.keepalive, cfg.bind_address);
  if (result > 0) {
    const int error = errno;
    if (!cfg.quiet) {
      if (result == MOSQ_ERR_ERRNO) {
        PrintError("Error: %s\n", std::strerror(error));
      } else {
        PrintError("Unable to connect (%s).\n", mosquitto_strerror(result));
      }
    }
    // The next attempt uses the same client without initialising the library again.
    mosquitto_lib_cleanup();
  }
  return result;
}

int mosquitto_client_connect(ClientConfig& cfg) {
  if (client_connect(cfg.mosq, cfg) != MOSQ_ERR_SUCCESS) {
    return 1;
  }
  PrintLine("Success: client_connect");
  PrintLine("#######client_connect WAITING ...####");
  const int result = mosquitto_loop_start(cfg.mosq);
  if (result != MOSQ_ERR_SUCCESS) {
    PrintError("The network thread can't be started (%s).\n", mosquitto_strerror(result));
    return 1;
  }
  return 0;
}

int mosquitto_client_publish(ClientConfig& cfg) {
  if (cfg.status != STATUS_CONNACK_RECVD) {
    if (!cfg.quiet) {
      PrintLine("mosquitto_client_publish: cfg->status != STATUS_CONNACK_RECVD");
    }
    return 1;
  }
  if (!cfg.quiet) {
    PrintLine("mosquitto_client_publish: cfg->status == STATUS_CONNACK_RECVD");
  }
  const int result = PublishWhileConnected(cfg);
  if (result == MOSQ_ERR_SUCCESS) {
    return 0;
  }
  for (const PublishError& error : kPublishErrors) {
    if (error.result == result) {
      Complain(cfg, error.message);
    }
  }
  return 1;
}

void mosquitto_client_cleanup(ClientConfig& cfg) {
  mosquitto_destroy(cfg.mosq);
  cfg.mosq = nullptr;
  mosquitto_lib_cleanup();
  client_config_cleanup(cfg);
}

}  // namespace datacollector
