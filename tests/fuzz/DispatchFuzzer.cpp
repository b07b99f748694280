// Any payload on any topic, through dispatch to the table: the six tables keep their columns and never hold
// more than their rows. The first byte selects the topic ('A' is the first subscribe topic), the rest is the
// payload.

#include <mosquitto.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "app/StartUp.h"
#include "config/LibConfigRead.h"
#include "fuzz/FuzzGateway.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/MessageDispatch.h"

namespace {

using datacollector::gMainState;

constexpr std::uint16_t kRows = 5;

int AppendText(void* text, int count, char** values, char** /*names*/) {
  for (int i = 0; i < count; ++i) {
    *static_cast<std::string*>(text) += values[i] == nullptr ? "NULL" : values[i];
  }
  return 0;
}

std::string Ask(const char* database, const std::string& query) {
  sqlite3* handle = nullptr;
  std::string text;
  sqlite3_open_v2(database, &handle, SQLITE_OPEN_READONLY, nullptr);
  if (sqlite3_exec(handle, query.c_str(), AppendText, &text, nullptr) != SQLITE_OK) {
    text = sqlite3_errmsg(handle);
  }
  sqlite3_close(handle);
  return text;
}

std::string Schema() {
  std::string schema;
  for (const auto& config : gMainState.DataCollectorDBConfig) {
    schema += Ask(config.i8_DatabaseName.c_str(), "SELECT group_concat(sql) FROM sqlite_master") + "\n";
  }
  return schema;
}

// As the daemon starts, with small tables and without a second attempt.
class Daemon {
 public:
  Daemon() {
    datacollector::fuzz::SilenceTrace();
    for (const auto& file : datacollector::fuzz::ExampleFiles()) {
      datacollector::fuzz::Install(file);
    }
    datacollector::Initialize_GlobalVariables();
    datacollector::ReadConfig(gMainState);
    for (auto& config : gMainState.DataCollectorDBConfig) {
      config.ui16_MAXRecords = kRows;
      config.ui16_MaxDatabaseAccessRetry = 1;
    }
    for (auto& params : gMainState.DataCollectorDBParams) {
      params.ui16_MaxReadTry = 1;
    }
    datacollector::CreateDataCollectorDataBases(gMainState);
    datacollector::client_config_init(*client_);
    schema_ = Schema();
  }

  void Deliver(std::string topic, std::string payload) {
    mosquitto_message message{};
    message.topic = topic.data();
    message.payload = payload.empty() ? nullptr : payload.data();
    message.payloadlen = static_cast<int>(payload.size());
    message.qos = 2;
    datacollector::on_message_callback(nullptr, client_.get(), &message);
  }

  void Check() const {
    if (Schema() != schema_) {
      std::fprintf(stderr, "the tables have changed: %s\n", Schema().c_str());
      std::abort();
    }
    for (const auto& config : gMainState.DataCollectorDBConfig) {
      const std::string rows = Ask(config.i8_DatabaseName.c_str(),
                                   "SELECT COUNT(*) FROM " + std::string(config.i8_TableName.c_str()));
      if (std::atoi(rows.c_str()) > kRows) {
        std::fprintf(stderr, "%s holds %s rows\n", config.i8_TableName.c_str(), rows.c_str());
        std::abort();
      }
    }
  }

 private:
  std::unique_ptr<datacollector::ClientConfig> client_ = std::make_unique<datacollector::ClientConfig>();
  std::string schema_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Daemon daemon;
  if (size == 0) {
    return 0;
  }
  const auto& topics = gMainState.DataCollectorMqttTopics.i8_SubscribeTopics;
  const std::size_t topic = static_cast<std::uint8_t>(data[0] - 'A') % topics.size();
  daemon.Deliver(topics[topic].c_str(), std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  daemon.Check();
  return 0;
}
