// What a message on each of the twenty subscribe topics sets off.
#include <gtest/gtest.h>
#include <mosquitto.h>

#include <array>
#include <memory>
#include <set>
#include <string>

#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/MessageDispatch.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"

namespace datacollector {
namespace {

// Every branch that a message can set off, by the text that it opens with.
constexpr std::array<const char*, 12> kOpenings = {
    "Entered AIO On Message Call Back",         "Entered DIO On Message Call Back",
    "Entered TEMPERATURE On Message Call Back", "Entered RS485 On Message Call Back",
    "Entered RS232 On Message Call Back",       "Entered SNMP On Message Call Back",
    "Update record for AIO received",           "Update record for DIO received",
    "Update record for Temperature received",   "Update record for RS485 received",
    "Update record for RS232 received",         "Update record for SNMP received",
};
enum Branch {
  kAio,
  kDio,
  kTemperature,
  kRs485,
  kRs232,
  kSnmp,
  kAioStatus,
  kDioStatus,
  kTemperatureStatus,
  kRs485Status,
  kRs232Status,
  kSnmpStatus
};
using Branches = std::set<int>;

const std::array<Branches, kTopicSlots> kBranchesOfEntry = {{
    {kAio},
    {kDio},
    {kDio},
    {kAio},
    {kRs485},
    {kTemperature, kRs485},
    {kTemperature},
    {kRs232},
    {kRs485},
    {kSnmp},
    {kAioStatus},
    {kDioStatus},
    {kTemperatureStatus},
    {kRs485Status},
    {kRs232Status},
    {},
    {kSnmpStatus},
    {},
    {},
    {},
}};

class TopicEntries : public ExampleGateway {
 protected:
  // Gives every entry a text of its own. The record has too few values for any table: each write fails at
  // once.
  TopicEntries() {
    for (std::size_t entry = 0; entry < kTopicSlots; ++entry) {
      gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[entry].Assign("entry/" + std::to_string(entry));
    }
    for (const SourceKind kind : kAllKinds) {
      gMainState.DataCollectorDBConfig[kind].ui16_MaxDatabaseAccessRetry = 1;
      gMainState.DataCollectorDBParams[kind].ui16_MaxReadTry = 1;
    }
    MakeAllTables();
    client_config_init(*cfg_);
    cfg_->quiet = true;
  }
  ~TopicEntries() override { client_config_cleanup(*cfg_); }

  std::string Deliver(std::size_t entry) {
    std::string topic = SubscribeTopic(entry);
    std::string payload = "1,1,1,1,1,1";
    mosquitto_message message{};
    message.topic = topic.data();
    message.payload = payload.data();
    message.payloadlen = static_cast<int>(payload.size());
    CapturedOutput output;
    on_message_callback(nullptr, cfg_.get(), &message);
    return output.Out();
  }

  Branches BranchesOf(std::size_t entry) {
    const std::string out = Deliver(entry);
    Branches found;
    for (std::size_t branch = 0; branch < kOpenings.size(); ++branch) {
      if (out.find(kOpenings[branch]) != std::string::npos) {
        found.insert(static_cast<int>(branch));
      }
    }
    return found;
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_F(TopicEntries, ThePlaceOfATopicDecidesWhatItMeans) {
  for (std::size_t entry = 0; entry < kTopicSlots; ++entry) {
    EXPECT_EQ(BranchesOf(entry), kBranchesOfEntry[entry]) << "entry " << entry;
  }
}

TEST_F(TopicEntries, TwoEntriesWithOneTextRunTheBranchesOfBothInTheirFixedOrder) {
  auto& topics = gMainState.DataCollectorMqttTopics.i8_SubscribeTopics;
  topics[16].Assign("one");
  topics[10].Assign("one");
  topics[9].Assign("one");
  topics[1].Assign("one");
  topics[0].Assign("one");
  const std::string out = Deliver(0);
  std::size_t at = 0;
  for (const Branch branch : {kAio, kDio, kSnmp, kAioStatus, kSnmpStatus}) {
    at = out.find(kOpenings[branch], at);
    ASSERT_NE(at, std::string::npos) << kOpenings[branch];
  }
}

TEST_F(TopicEntries, OfADisabledKindOnlyConfirmationsAreTaken) {
  DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  sources.i32_DataSourcesEnableFlags = {};
  sources.i32_DataSourcesRS485EnableFlags = {};
  sources.i32_DataSourcesRS232EnableFlags = {};
  sources.i32_DataSourcesSNMPEnableFlags = {};
  for (std::size_t entry = 0; entry < kTopicSlots; ++entry) {
    Branches expected = kBranchesOfEntry[entry];
    std::erase_if(expected, [](int branch) { return branch <= kSnmp; });
    EXPECT_EQ(BranchesOf(entry), expected) << "entry " << entry;
  }
}

TEST_F(TopicEntries, WhileTheCustomerHasTheDatabasesConfirmationsAreIgnored) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  for (std::size_t entry = 0; entry < kTopicSlots; ++entry) {
    Branches expected = kBranchesOfEntry[entry];
    std::erase_if(expected, [](int branch) { return branch > kSnmp; });
    EXPECT_EQ(BranchesOf(entry), expected) << "entry " << entry;
  }
}

TEST_F(TopicEntries, AnyOfTheFirstFourRs485LinesLetsRs485RecordsIn) {
  for (std::size_t line = 0; line < 5; ++line) {
    auto& enables = gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags;
    enables = {};
    enables[line][0] = 1;
    EXPECT_EQ(BranchesOf(4), line < 4 ? Branches{kRs485} : Branches{}) << "line " << line;
  }
}

}  // namespace
}  // namespace datacollector
