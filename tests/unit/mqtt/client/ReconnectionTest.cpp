// The client after a loss of its connection.
#include <gtest/gtest.h>

#include <mutex>
#include <string>

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

using Reconnection = BareClient;

TEST_F(Reconnection, NothingIsLostWhileTheConnectionStands) {
  LocalBroker broker;
  const ConnectedClient client(*cfg_);
  EXPECT_FALSE(Mosquitto_WaitForLoss(*cfg_, std::chrono::milliseconds(1)));
}

TEST_F(Reconnection, HappensWithAClientMadeAnewUnderTheSameIdentifier) {
  LocalBroker broker;
  const ConnectedClient client(*cfg_);
  const mosquitto* const before = cfg_->mosq;
  const std::string identifier = cfg_->id.get();
  CapturedOutput output;
  broker.Stop();
  ASSERT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
  broker.Start();
  ASSERT_TRUE(WaitUntil([&output] { return output.OutSoFar().ends_with("topic_count : 0\n"); }));
  const std::lock_guard lock(cfg_->mutex);
  EXPECT_NE(cfg_->mosq, before);
  EXPECT_EQ(cfg_->id.get(), identifier);
  EXPECT_EQ(output.Err(), "");
  EXPECT_EQ(output.Out(), "on_connect_callback:\nConnect Success:\ntopic_count : 0\n");
}

TEST_F(Reconnection, AnAttemptWithoutABrokerFailsSilentlyAndPublishingIsRefusedMeanwhile) {
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  cfg_->status = STATUS_CONNACK_RECVD;
  const std::string before = output.OutSoFar();
  EXPECT_EQ(Mosquitto_Reconnect(*cfg_), -1);
  EXPECT_EQ(Mosquitto_Reconnect(*cfg_), -1);
  EXPECT_EQ(output.OutSoFar(), before);
  EXPECT_EQ(output.ErrSoFar(), "");
  SetNextPublish(*cfg_, "a/topic", "a message");
  EXPECT_EQ(mosquitto_client_publish(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Client not connected when trying to publish.\n");
  mosquitto_client_cleanup(*cfg_);
}

}  // namespace
}  // namespace datacollector
