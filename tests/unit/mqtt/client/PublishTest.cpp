// Publishing one message: the gate, the answers of the library, and what is said about them.
#include <gtest/gtest.h>
#include <mosquitto.h>

#include <string>

#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/ClientWrappers.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/mqtt/client/BareClient.h"

namespace datacollector {
namespace {

constexpr const char* kGateOpen = "mosquitto_client_publish: cfg->status == STATUS_CONNACK_RECVD\n";
constexpr const char* kGateClosed = "mosquitto_client_publish: cfg->status != STATUS_CONNACK_RECVD\n";
constexpr const char* kNotConnected = "Error: Client not connected when trying to publish.\n";

using Publish = BareClient;

TEST_F(Publish, BeforeTheFirstConnectionIsRefused) {
  SetNextPublish(*cfg_, "a/topic", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Out(), kGateClosed);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(Publish, BeforeTheFirstConnectionSaysNothingWhenQuiet) {
  cfg_->quiet = true;
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Out(), "");
}

TEST_F(Publish, WithoutAConnectionAnswersAsTheLibraryWould) {
  cfg_->status = STATUS_CONNACK_RECVD;
  SetNextPublish(*cfg_, "a/topic", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Out(), kGateOpen);
  EXPECT_EQ(output.Err(), kNotConnected);
}

TEST_F(Publish, ForWhichThereWasNoMemoryIsRefused) {
  cfg_->status = STATUS_CONNACK_RECVD;
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Out of memory when trying to publish message.\n");
}

TEST_F(Publish, ARefusalIsPrintedTwiceAndLoggedOnce) {
  CapturedOutput output;
  EXPECT_EQ(Mosquitto_Publish(*cfg_), -1);
  EXPECT_EQ(Folded(output.Out(), {"Mosquitto_Publish"}),
            std::string("FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Publish:START\n") + kGateClosed +
                "Failure: mosquitto_client_publish\n"
                "Failure: mosquitto_client_publish\n"
                "<GetTimeStamp>\n"
                "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Publish:END\n");
  EXPECT_EQ(LogText(), "T: mosquitto_client_publish failure\n");
}

class PublishToBroker : public Publish {
 protected:
  LocalBroker broker_;
  ConnectedClient client_{*cfg_};
};

TEST_F(PublishToBroker, SendsTheMessageOnceWithQos2AndNotRetained) {
  Listener listener;
  SetNextPublish(*cfg_, "a/topic", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
  EXPECT_EQ(output.Out(), kGateOpen);
  EXPECT_GT(cfg_->mid, 0);
  SetNextPublish(*cfg_, "an/end", "");
  mosquitto_client_publish(*cfg_);
  ASSERT_TRUE(listener.WaitForMessages(2));
  const std::vector<HeardMessage> heard = listener.Heard();
  EXPECT_EQ(heard[0].topic, "a/topic");
  EXPECT_EQ(heard[0].payload, "a message");
  EXPECT_EQ(heard[0].qos, 2);
  EXPECT_FALSE(heard[0].retained);
  EXPECT_EQ(heard[1].topic, "an/end");
}

TEST_F(PublishToBroker, SendsAsManyBytesAsTheLengthSays) {
  Listener listener;
  SetNextPublish(*cfg_, "a/topic", "a message");
  cfg_->msglen = 3;
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
  ASSERT_TRUE(listener.WaitForMessages(1));
  EXPECT_EQ(listener.Heard()[0].payload, "a m");
}

TEST_F(PublishToBroker, ASuccessIsPrintedTwiceAndLoggedWithItsMessageAndNoRetries) {
  SetNextPublish(*cfg_, "a/topic", "a message");
  CapturedOutput output;
  EXPECT_EQ(Mosquitto_Publish(*cfg_), 0);
  EXPECT_EQ(Folded(output.Out(), {"Mosquitto_Publish"}),
            std::string("FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Publish:START\n") + kGateOpen +
                "Success: mosquitto_client_publish\n"
                "Success: mosquitto_client_publish\n"
                "<GetTimeStamp>\n"
                "<GetTimeStamp>\n"
                "FILE:ClientWrappers.cpp:LINE:N:FUNCTION:Mosquitto_Publish:END\n");
  EXPECT_EQ(LogText(),
            "T: mosquitto_client_publish msg : a message to topic a/topic\n\n"
            "T: mosquitto_client_publish retry count : 0\n\n");
}

TEST_F(PublishToBroker, AWildcardInTheTopicIsInvalidInput) {
  SetNextPublish(*cfg_, "a/+", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Invalid input. Does your topic contain '+' or '#'?\n");
}

TEST_F(PublishToBroker, AMessageThatIsTooLargeIsRefused) {
  SetNextPublish(*cfg_, "a/topic", "a message");
  cfg_->msglen = 268435456;
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Message payload is too large.\n");
}

TEST_F(PublishToBroker, AnAnswerThatIsNotInTheListIsReturnedWithoutAMessage) {
  SetNextPublish(*cfg_, "a/\xff", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Out(), kGateOpen);
  EXPECT_EQ(output.Err(), "");
}

TEST_F(PublishToBroker, AnAnswerSaysNothingWhenQuiet) {
  cfg_->quiet = true;
  SetNextPublish(*cfg_, "a/+", "a message");
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Out(), "");
  EXPECT_EQ(output.Err(), "");
}

// The library would keep the message and deliver it when the connection is back, beside its repetition.
TEST_F(PublishToBroker, WhatIsRefusedWhileTheBrokerIsAwayIsNotSentLater) {
  Listener listener;
  broker_.Stop();
  EXPECT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
  EXPECT_EQ(cfg_->status, STATUS_CONNACK_RECVD);
  {
    CapturedOutput output;
    SetNextPublish(*cfg_, "a/topic", "refused");
    EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
    EXPECT_EQ(output.Err(), kNotConnected);
  }
  broker_.Start();
  CapturedOutput output;
  EXPECT_TRUE(listener.WaitForSubscriptions(2));
  EXPECT_TRUE(WaitUntil([this] { return cfg_->connected.load(); }));
  SetNextPublish(*cfg_, "a/topic", "sent");
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
  ASSERT_TRUE(listener.WaitForMessages(1));
  SetNextPublish(*cfg_, "a/topic", "end");
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
  ASSERT_TRUE(listener.WaitForMessages(2));
  EXPECT_EQ(listener.Heard()[0].payload, "sent");
  EXPECT_EQ(listener.Heard()[1].payload, "end");
}

TEST_F(PublishToBroker, AfterItsReturnTheBrokerIsSubscribedToAgain) {
  gMainState.DataCollectorMqttTopics.ui16_NoOfSubscribeTopics = 1;
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[0].Assign("an/inbound/topic");
  cfg_->topic_count = 1;
  Listener listener;
  CapturedOutput output;
  broker_.Stop();
  EXPECT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
  broker_.Start();
  EXPECT_TRUE(listener.WaitForSubscriptions(2));
  EXPECT_TRUE(WaitUntil([&] {
    listener.Publish("an/inbound/topic", "a message");
    return output.OutSoFar().find("topic = <an/inbound/topic>") != std::string::npos;
  }));
}

}  // namespace
}  // namespace datacollector
