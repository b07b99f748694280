#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/ClientWrappers.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class ClientConfigTest : public ::testing::Test {
 protected:
  ClientConfigTest() { ZeroMainState(gMainState); }
  ~ClientConfigTest() override { ZeroMainState(gMainState); }

  // Makes `topics` the configured subscribe topics.
  static void Configure(std::initializer_list<const char*> topics) {
    gMainState.DataCollectorMqttTopics.ui16_NoOfSubscribeTopics = static_cast<std::uint16_t>(topics.size());
    std::size_t index = 0;
    for (const char* topic : topics) {
      gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[index++].Assign(topic);
    }
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_F(ClientConfigTest, TheDefaultsAreThoseOfTheLocalBroker) {
  EXPECT_EQ(mosquitto_client_config_load(*cfg_), 0);
  EXPECT_EQ(cfg_->port, 1883);
  EXPECT_EQ(cfg_->max_inflight, 30U);
  EXPECT_EQ(cfg_->keepalive, 60);
  EXPECT_TRUE(cfg_->clean_session);
  EXPECT_TRUE(cfg_->eol);
  EXPECT_EQ(cfg_->protocol_version, 3);
  EXPECT_EQ(cfg_->qos, 2);
  EXPECT_STREQ(cfg_->host, "127.0.0.1");
}

TEST_F(ClientConfigTest, AKeptSessionHasTheDevicesIdentifierAndItsProtocol) {
  gMainState.DataCollectorMqttTopics.ui16_KeepSession = 1;
  gMainState.DataCollectorSiteConfig.DeviceID = "GW0001";
  mosquitto_client_config_load(*cfg_);
  CapturedOutput output;
  EXPECT_EQ(DataCollector_sub_client_config_load(*cfg_), 0);
  EXPECT_STREQ(cfg_->id.get(), "DataCollector-GW0001");
  EXPECT_FALSE(cfg_->clean_session);
  EXPECT_EQ(cfg_->protocol_version, MQTT_PROTOCOL_V311);
  EXPECT_EQ(cfg_->qos, 2) << "of what the daemon publishes";
  gMainState.DataCollectorSiteConfig.DeviceID = nullptr;
}

TEST_F(ClientConfigTest, AKeptSessionOfADeviceWithoutAnIdentifierIsOneAllTheSame) {
  gMainState.DataCollectorMqttTopics.ui16_KeepSession = 1;
  mosquitto_client_config_load(*cfg_);
  CapturedOutput output;
  EXPECT_EQ(DataCollector_sub_client_config_load(*cfg_), 0);
  EXPECT_STREQ(cfg_->id.get(), "DataCollector-");
}

TEST_F(ClientConfigTest, TheDefaultsTouchNothingElse) {
  cfg_->host = "192.168.1.1";
  cfg_->id = CopyText("an id");
  cfg_->status = 1;
  cfg_->debug = true;
  cfg_->topic_count = 3;
  EXPECT_EQ(client_config_init(*cfg_), 0);
  EXPECT_STREQ(cfg_->host, "192.168.1.1");
  EXPECT_STREQ(cfg_->id.get(), "an id");
  EXPECT_EQ(cfg_->status, 1);
  EXPECT_TRUE(cfg_->debug);
  EXPECT_FALSE(cfg_->quiet);
  EXPECT_FALSE(cfg_->retain);
  EXPECT_FALSE(cfg_->verbose);
  EXPECT_FALSE(cfg_->no_retain);
  EXPECT_EQ(cfg_->topic_count, 3);
  EXPECT_EQ(cfg_->username, nullptr);
  EXPECT_EQ(cfg_->will_topic, nullptr);
  EXPECT_EQ(cfg_->bind_address, nullptr);
}

TEST_F(ClientConfigTest, TheTopicsAreTakenOverFromTheConfiguration) {
  Configure({"first", "second"});
  cfg_->host = "192.168.1.1";
  CapturedOutput output;
  EXPECT_EQ(DataCollector_sub_client_config_load(*cfg_), 0);
  EXPECT_STREQ(cfg_->host, "127.0.0.1");
  EXPECT_TRUE(cfg_->debug);
  ASSERT_EQ(cfg_->topic_count, 2);
  EXPECT_STREQ(cfg_->topics[0].get(), "first");
  EXPECT_STREQ(cfg_->topics[1].get(), "second");
  EXPECT_EQ(output.Err(), "");
}

TEST_F(ClientConfigTest, ATopicIsCopiedUpToItsNinetyNinthCharacter) {
  Configure({std::string(100, 't').c_str()});
  CapturedOutput output;
  DataCollector_sub_client_config_load(*cfg_);
  EXPECT_EQ(std::string(cfg_->topics[0].get()), std::string(99, 't'));
}

TEST_F(ClientConfigTest, ATopicLeftEmptyIsNamedByItsKeyOnStandardError) {
  Configure({"first", "", "third"});
  CapturedOutput output;
  DataCollector_sub_client_config_load(*cfg_);
  EXPECT_EQ(cfg_->topic_count, 3);
  EXPECT_STREQ(cfg_->topics[1].get(), "");
  EXPECT_EQ(output.Err(), "SubscribeTopic2 is empty: nothing is subscribed for it\n");
}

TEST_F(ClientConfigTest, NoMoreTopicsAreTakenOverThanThereAreSlots) {
  gMainState.DataCollectorMqttTopics.ui16_NoOfSubscribeTopics = 500;
  CapturedOutput output;
  DataCollector_sub_client_config_load(*cfg_);
  EXPECT_EQ(cfg_->topic_count, 20);
}

TEST_F(ClientConfigTest, LoadingAgainReplacesTheTopics) {
  CapturedOutput output;
  Configure({"first", "second"});
  DataCollector_sub_client_config_load(*cfg_);
  Configure({"other"});
  DataCollector_sub_client_config_load(*cfg_);
  ASSERT_EQ(cfg_->topic_count, 1);
  EXPECT_STREQ(cfg_->topics[0].get(), "other");
}

TEST_F(ClientConfigTest, TheNextPublishIsACopyWithItsLength) {
  std::string topic = "a/topic";
  std::string message = "a message";
  SetNextPublish(*cfg_, topic.c_str(), message.c_str());
  topic[0] = 'X';
  message[0] = 'X';
  EXPECT_STREQ(cfg_->topic.get(), "a/topic");
  EXPECT_STREQ(cfg_->message.get(), "a message");
  EXPECT_EQ(cfg_->msglen, 9);
}

TEST_F(ClientConfigTest, CleaningUpReleasesEveryTextOnce) {
  CapturedOutput output;
  Configure({"first"});
  DataCollector_sub_client_config_load(*cfg_);
  cfg_->id = CopyText("id");
  cfg_->id_prefix = CopyText("prefix");
  SetNextPublish(*cfg_, "topic", "message");
  for (int times = 0; times < 2; ++times) {
    client_config_cleanup(*cfg_);
    EXPECT_EQ(cfg_->id, nullptr);
    EXPECT_EQ(cfg_->id_prefix, nullptr);
    EXPECT_EQ(cfg_->topic, nullptr);
    EXPECT_EQ(cfg_->message, nullptr);
    EXPECT_EQ(cfg_->topics, nullptr);
    EXPECT_EQ(cfg_->topic_count, 0);
    EXPECT_EQ(cfg_->last_message.topic, nullptr);
  }
}

std::string HostName() {
  std::array<char, 256> name{};
  ::gethostname(name.data(), name.size() - 1);
  return name.data();
}

class ClientIdentifier : public ClientConfigTest {
 protected:
  std::string Generate(const char* base) {
    EXPECT_EQ(client_id_generate(*cfg_, base), 0);
    return cfg_->id.get();
  }

  const std::string processId_ = std::to_string(::getpid());
};

TEST_F(ClientIdentifier, IsBaseProcessAndHostCutTo23Characters) {
  const std::string whole = "mosqDataCollector/" + processId_ + "-" + HostName();
  EXPECT_EQ(Generate("mosqDataCollector"), whole.substr(0, 23));
}

TEST_F(ClientIdentifier, KeepsAHostNameThatFits) {
  EXPECT_EQ(Generate("m"), ("m/" + processId_ + "-" + HostName()).substr(0, 23));
}

TEST_F(ClientIdentifier, LosesEvenTheProcessWhenTheBaseTakesAllTheRoom) {
  EXPECT_EQ(Generate("a-base-of-22-letters-x"), "a-base-of-22-letters-x/");
  cfg_->id.reset();
  EXPECT_EQ(Generate("a-base-of-30-letters-xxxxxxxxx"), "a-base-of-30-letters-xx");
}

TEST_F(ClientIdentifier, IsPrefixAndProcessUncutWhereAPrefixIsSet) {
  cfg_->id_prefix = CopyText("a-prefix-of-more-than-23-characters");
  cfg_->id = CopyText("an identifier that the prefix replaces");
  EXPECT_EQ(Generate("mosqDataCollector"), "a-prefix-of-more-than-23-characters" + processId_);
}

TEST_F(ClientIdentifier, StaysWhereOneIsSet) {
  cfg_->id = CopyText("an identifier that is longer than 23 characters");
  EXPECT_EQ(Generate("mosqDataCollector"), "an identifier that is longer than 23 characters");
}

class TopicCheck : public ClientConfigTest {
 protected:
  int CheckSubscribe(std::initializer_list<const char*> topics) {
    Configure(topics);
    DataCollector_sub_client_config_load(*cfg_);
    return mosquitto_client_topic_check(*cfg_, 2);
  }
};

TEST_F(TopicCheck, NamesTheFirstInvalidSubscribeTopic) {
  CapturedOutput output;
  EXPECT_EQ(CheckSubscribe({"a/b", "a/#/b", "c+d"}), 1);
  EXPECT_EQ(output.Err(),
            "Error: Invalid subscription topic 'a/#/b', are all '+' and '#' wildcards correct?\n");
}

TEST_F(TopicCheck, AllowsWildcardsThatStandWhereTheyMay) {
  CapturedOutput output;
  EXPECT_EQ(CheckSubscribe({"a/+/b", "#", "+/c"}), 0);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(TopicCheck, WithoutTopicsFindsNothing) {
  CapturedOutput output;
  EXPECT_EQ(CheckSubscribe({}), 0);
}

TEST_F(TopicCheck, NamesAnInvalidPublishTopic) {
  CapturedOutput output;
  SetNextPublish(*cfg_, "a/+", "");
  EXPECT_EQ(mosquitto_client_topic_check(*cfg_, 1), 1);
  EXPECT_EQ(output.Err(), "Error: Invalid publish topic 'a/+', does it contain '+' or '#'?\n");
}

TEST_F(TopicCheck, AValidPublishTopicIsFine) {
  CapturedOutput output;
  SetNextPublish(*cfg_, "a/b", "");
  EXPECT_EQ(mosquitto_client_topic_check(*cfg_, 1), 0);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(TopicCheck, AMissingPublishTopicIsInvalid) {
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_topic_check(*cfg_, 1), 1);
  EXPECT_EQ(output.Err(), "Error: Invalid publish topic '', does it contain '+' or '#'?\n");
}

TEST_F(TopicCheck, AnyOtherModeFindsNothing) {
  CapturedOutput output;
  EXPECT_EQ(CheckSubscribe({"a/#/b"}), 1);
  SetNextPublish(*cfg_, "a/+", "");
  for (const int mode : {0, 3, -1}) {
    EXPECT_EQ(mosquitto_client_topic_check(*cfg_, mode), 0) << mode;
  }
}

}  // namespace
}  // namespace datacollector
