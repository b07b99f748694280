// Making and connecting the client.
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>

#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/ClientWrappers.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/EndConnection.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/mqtt/client/BareClient.h"

namespace datacollector {
namespace {

class Client : public BareClient {
 protected:
  Client() { client_config_init(*cfg_); }
  ~Client() override {
    mosquitto_destroy(cfg_->mosq);
    ZeroMainState(gMainState);
  }

  static void Configure(const char* topic) {
    gMainState.DataCollectorMqttTopics.ui16_NoOfSubscribeTopics = 1;
    gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[0].Assign(topic);
  }
};

TEST_F(Client, IsMadeWithTheGeneratedIdentifier) {
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_init(*cfg_), 0);
  EXPECT_NE(cfg_->mosq, nullptr);
  EXPECT_EQ(std::string(cfg_->id.get()).substr(0, 18), "mosqDataCollector/");
  EXPECT_EQ(mosquitto_userdata(cfg_->mosq), cfg_.get());
  EXPECT_EQ(output.Err(), "");
}

struct BadOption {
  const char* name;
  void (*set)(ClientConfig& cfg);
  const char* message;

  friend void PrintTo(const BadOption& value, std::ostream* out) { *out << value.name; }
};

class BadClientOption : public Client, public ::testing::WithParamInterface<BadOption> {};

TEST_P(BadClientOption, FailsWithItsMessage) {
  GetParam().set(*cfg_);
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_init(*cfg_), 1);
  EXPECT_EQ(output.Err(), GetParam().message);
}

TEST_P(BadClientOption, FailsWithoutAWordWhenQuiet) {
  GetParam().set(*cfg_);
  cfg_->quiet = true;
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_init(*cfg_), 1);
  EXPECT_EQ(output.Err(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadClientOption,
    ::testing::Values(BadOption{"EmptyIdentifier", [](ClientConfig& cfg) { cfg.id = CopyText(""); },
                                "Error: invalid input parameters\n"},
                      BadOption{"IdentifierThatIsNoText",
                                [](ClientConfig& cfg) { cfg.id = CopyText("\xff"); }, ""},
                      BadOption{"WillOnAWildcard", [](ClientConfig& cfg) { cfg.will_topic = "a/+"; },
                                "Error: Problem setting will.\n"},
                      BadOption{"UserNameThatIsNoText", [](ClientConfig& cfg) { cfg.username = "\xff"; },
                                "Error: Problem setting username and password.\n"}),
    [](const auto& option) { return std::string(option.param.name); });

TEST_F(Client, TakesAWillAndAUserName) {
  cfg_->will_topic = "a/b";
  cfg_->will_payload = "gone";
  cfg_->will_payloadlen = 4;
  cfg_->username = "somebody";
  cfg_->password = "a word";
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_init(*cfg_), 0);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(Client, WithoutABrokerAnAttemptTellsTheSystemError) {
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Connection refused\n");
  EXPECT_EQ(output.Out(), "");
}

TEST_F(Client, AnAttemptThatTheLibraryRefusesTellsItsReason) {
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  cfg_->port = -1;
  EXPECT_EQ(client_connect(cfg_->mosq, *cfg_), MOSQ_ERR_INVAL);
  EXPECT_EQ(output.Err(), "Unable to connect (Invalid function arguments provided.).\n");
}

TEST_F(Client, AnAttemptThatFailsSaysNothingWhenQuiet) {
  cfg_->quiet = true;
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  cfg_->port = -1;
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(Client, AFailedAttemptIsRepeatedOnTheSameClient) {
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  mosquitto* const client = cfg_->mosq;
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  const LocalBroker broker;
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 0);
  EXPECT_EQ(cfg_->mosq, client);
  EXPECT_TRUE(WaitUntil([this] { return cfg_->status == STATUS_CONNACK_RECVD; }));
  EndConnection(client);
}

TEST_F(Client, AnInvalidTopicEndsTheStart) {
  Configure("a/#/b");
  CapturedOutput output;
  EXPECT_EQ(Mosquitto_Initialization(*cfg_), -1);
  EXPECT_EQ(Folded(output.Out(), {"Mosquitto_Initialization"}),
            "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Initialization:START\n"
            "<DataCollector_sub_client_config_load>\n"
            "Failure: mosquitto_client_topic_check\n"
            "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Initialization:END\n");
  EXPECT_EQ(cfg_->mosq, nullptr);
}

TEST_F(Client, AClientThatCannotBeMadeEndsTheStart) {
  Configure("a/b");
  cfg_->id = CopyText("");
  CapturedOutput output;
  EXPECT_EQ(Mosquitto_Initialization(*cfg_), -1);
  EXPECT_EQ(Folded(output.Out(), {"Mosquitto_Initialization"}),
            "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Initialization:START\n"
            "<DataCollector_sub_client_config_load>\n"
            "Success: mosquitto_client_topic_check\n"
            "Failure: mosquitto_client_init\n"
            "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Initialization:END\n");
}

// Of one thread's texts, between which another's may stand.
void ExpectInOrder(std::initializer_list<const char*> texts, const std::string& out) {
  std::size_t at = 0;
  for (const char* text : texts) {
    at = out.find(text, at);
    ASSERT_NE(at, std::string::npos) << text << " is not in its place in\n" << out;
  }
}

TEST_F(Client, AStartConnectsAndSubscribesAndAnEndReleasesEverything) {
  Configure("a/topic");
  const LocalBroker broker;
  CapturedOutput output;
  ASSERT_EQ(Mosquitto_Initialization(*cfg_), 0);
  EXPECT_TRUE(WaitUntil([&] { return output.OutSoFar().find("Subscribed (mid: ") != std::string::npos; }))
      << output.OutSoFar();
  EndConnection(cfg_->mosq);  // what was subscribed may still be on its way out of its callback
  Mosquitto_Cleanup(*cfg_);
  EXPECT_EQ(cfg_->mosq, nullptr);
  EXPECT_EQ(cfg_->id, nullptr);
  EXPECT_EQ(cfg_->topics, nullptr);
  const std::string out = output.Out();
  ExpectInOrder({"Success: mosquitto_client_topic_check\n", "Success: mosquitto_client_init\n",
                 "Success: client_connect\n", "#######client_connect WAITING ...####\n",
                 "Success: mosquitto_client_connect\n"},
                out);
  ExpectInOrder({"on_connect_callback:\n", "Connect Success:\n", "topic_count : 1\n"}, out);
  EXPECT_EQ(CountOf("FUNCTION:Mosquitto_Cleanup:", out), 2U);
}

TEST_F(Client, ItsSocketSendsSmallPacketsAtOnce) {
  const LocalBroker broker;
  const ConnectedClient client(*cfg_);
  int noDelay = 0;
  socklen_t size = sizeof noDelay;
  ASSERT_EQ(::getsockopt(mosquitto_socket(cfg_->mosq), IPPROTO_TCP, TCP_NODELAY, &noDelay, &size), 0);
  EXPECT_EQ(noDelay, 1);
}

// What a client prints that subscribes to a topic and hears its own message on it.
class ClientThatHearsItself : public Client {
 protected:
  // Ends when all of `awaited` has been printed.
  std::string Run(bool debug, std::initializer_list<const char*> awaited) {
    Configure("a/topic");
    cfg_->topic_count = 1;
    cfg_->debug = debug;
    cfg_->retain = true;  // it hears the message even if that is faster than the subscription
    const LocalBroker broker;
    CapturedOutput output;
    EXPECT_EQ(mosquitto_client_init(*cfg_), 0);
    EXPECT_EQ(mosquitto_client_connect(*cfg_), 0);
    EXPECT_TRUE(WaitUntil([this] { return cfg_->status == STATUS_CONNACK_RECVD; }));
    SetNextPublish(*cfg_, "a/topic", "a message");
    EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
    for (const char* text : awaited) {
      EXPECT_TRUE(WaitUntil([&] { return output.OutSoFar().find(text) != std::string::npos; })) << text;
    }
    EndConnection(cfg_->mosq);
    ReleaseLastMessage(*cfg_);
    return output.Out();
  }
};

constexpr const char* kHeard = "payload = <a message>\n";

TEST_F(ClientThatHearsItself, PrintsItsSubscriptionItsPublishAndTheLibrarysLogWithDebug) {
  Run(true, {kHeard, "Subscribed (mid: ", "on_publish_callback:mid = ", " sending CONNECT\n",
             " received PUBLISH "});
}

TEST_F(ClientThatHearsItself, PrintsNoneOfThemWithoutDebug) {
  const std::string out = Run(false, {kHeard});
  EXPECT_EQ(out.find("Subscribed (mid"), std::string::npos) << out;
  EXPECT_EQ(out.find("on_publish_callback"), std::string::npos) << out;
  EXPECT_EQ(out.find(" sending "), std::string::npos) << out;
  EXPECT_EQ(out.find(" received "), std::string::npos) << out;
}

}  // namespace
}  // namespace datacollector
