#include <gtest/gtest.h>
#include <mosquitto.h>

#include <array>
#include <memory>
#include <string>

#include "ground/MainState.h"
#include "mqtt/client/ClientCallbacks.h"
#include "mqtt/client/ClientConfig.h"
#include "support/CaptureOutput.h"

namespace datacollector {
namespace {

class Callbacks : public ::testing::Test {
 protected:
  Callbacks() { ZeroMainState(gMainState); }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_F(Callbacks, AnAcceptedConnectionOpensThePublishGate) {
  CapturedOutput output;
  on_connect_callback(nullptr, cfg_.get(), 0);
  EXPECT_EQ(cfg_->status, STATUS_CONNACK_RECVD);
  EXPECT_TRUE(cfg_->connected);
  EXPECT_EQ(output.Out(), "on_connect_callback:\nConnect Success:\ntopic_count : 0\n");
}

TEST_F(Callbacks, TheTopicCountIsPrintedEvenWhenQuiet) {
  cfg_->quiet = true;
  CapturedOutput output;
  on_connect_callback(nullptr, cfg_.get(), 0);
  EXPECT_EQ(output.Out(), "topic_count : 0\n");
}

TEST_F(Callbacks, ARefusedConnectionTellsItsReasonAndLeavesTheGate) {
  CapturedOutput output;
  on_connect_callback(nullptr, cfg_.get(), 5);
  EXPECT_EQ(cfg_->status, 0);
  EXPECT_FALSE(cfg_->connected);
  EXPECT_EQ(output.Out(), "on_connect_callback:\n");
  EXPECT_EQ(output.Err(), std::string(mosquitto_connack_string(5)) + "\n");
}

TEST_F(Callbacks, ARefusedConnectionSaysNothingWhenQuiet) {
  cfg_->quiet = true;
  CapturedOutput output;
  on_connect_callback(nullptr, cfg_.get(), 5);
  EXPECT_EQ(output.Out(), "");
  EXPECT_EQ(output.Err(), "");
}

// The gate never closes again: publishing while the connection is down fails by itself.
TEST_F(Callbacks, ALostConnectionLeavesTheStatusAndIsNoted) {
  CapturedOutput output;
  on_connect_callback(nullptr, cfg_.get(), 0);
  on_disconnect_callback(nullptr, cfg_.get(), 7);
  EXPECT_EQ(cfg_->status, STATUS_CONNACK_RECVD);
  EXPECT_FALSE(cfg_->connected);
  on_connect_callback(nullptr, cfg_.get(), 0);
  EXPECT_TRUE(cfg_->connected);
}

int toldSessions = 0;

class SessionCallbacks : public Callbacks {
 protected:
  SessionCallbacks() {
    toldSessions = 0;
    cfg_->onKeptSession = [] { ++toldSessions; };
  }

  // What is printed when the broker answers so. There is no connection that could be given up.
  std::string Answer(int result, bool present) {
    CapturedOutput output;
    on_session_callback(nullptr, cfg_.get(), result, present ? 1 : 0);
    output.Err();
    return output.Out();
  }

  static constexpr const char* kAccepted = "on_connect_callback:\nConnect Success:\ntopic_count : 0\n";
};

TEST_F(SessionCallbacks, ASessionThatIsTakenUpAgainMayRepeat) {
  EXPECT_EQ(Answer(0, true), kAccepted);
  EXPECT_EQ(toldSessions, 1);
  EXPECT_EQ(Answer(0, true), kAccepted);
  EXPECT_EQ(toldSessions, 2);
}

TEST_F(SessionCallbacks, ANewSessionHasNothingToRepeat) {
  EXPECT_EQ(Answer(0, false), kAccepted);
  EXPECT_TRUE(cfg_->connected);
  EXPECT_EQ(toldSessions, 0);
}

TEST_F(SessionCallbacks, ARefusedConnectionIsAsEver) {
  EXPECT_EQ(Answer(5, false), "on_connect_callback:\n");
  EXPECT_FALSE(cfg_->remembers);
  EXPECT_EQ(toldSessions, 0);
}

TEST_F(SessionCallbacks, AClientThatRemembersGivesAConnectionUpThatHasNoSession) {
  Answer(0, false);
  cfg_->connected = false;
  EXPECT_EQ(Answer(0, false), "");
  EXPECT_TRUE(cfg_->sessionGone);
  EXPECT_FALSE(cfg_->connected);
}

TEST_F(SessionCallbacks, TheSessionThatSuchAConnectionLeavesBehindHasNothingToRepeat) {
  Answer(0, false);
  Answer(0, false);
  cfg_->remembers = false;  // made anew
  EXPECT_EQ(Answer(0, true), kAccepted);
  EXPECT_FALSE(cfg_->sessionGone);
  EXPECT_EQ(toldSessions, 0);
  Answer(0, true);
  EXPECT_EQ(toldSessions, 1);
}

TEST_F(Callbacks, ASubscriptionTellsEveryGrantedQos) {
  const std::array<int, 3> granted = {2, 1, 128};
  CapturedOutput output;
  on_subscribe_callback(nullptr, cfg_.get(), 7, 3, granted.data());
  on_subscribe_callback(nullptr, cfg_.get(), 8, 1, granted.data());
  EXPECT_EQ(output.Out(), "Subscribed (mid: 7): 2, 1, 128\nSubscribed (mid: 8): 2\n");
}

TEST_F(Callbacks, APublishTellsItsMessageId) {
  CapturedOutput output;
  on_publish_callback(nullptr, cfg_.get(), 12);
  EXPECT_EQ(output.Out(), "on_publish_callback:mid = 12\n");
}

TEST_F(Callbacks, SubscriptionsAndPublishesSayNothingWhenQuiet) {
  cfg_->quiet = true;
  const int granted = 2;
  CapturedOutput output;
  on_subscribe_callback(nullptr, cfg_.get(), 7, 1, &granted);
  on_publish_callback(nullptr, cfg_.get(), 12);
  EXPECT_EQ(output.Out(), "");
}

TEST_F(Callbacks, TheLibrarysLogIsPrintedWhateverItsLevelEvenWhenQuiet) {
  cfg_->quiet = true;
  CapturedOutput output;
  on_log_callback(nullptr, cfg_.get(), MOSQ_LOG_DEBUG, "a 100% debug text");
  on_log_callback(nullptr, cfg_.get(), MOSQ_LOG_ERR, "an error text");
  EXPECT_EQ(output.Out(), "a 100% debug text\nan error text\n");
}

}  // namespace
}  // namespace datacollector
