// A session that the broker keeps: the client over a break, and what was on its way then.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <csignal>
#include <mutex>
#include <string>
#include <vector>

#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/mqtt/client/BareClient.h"

namespace datacollector {
namespace {

std::atomic<int> toldSessions;  // by the network thread

class KeptSession : public BareClient {
 protected:
  KeptSession() {
    gMainState.DataCollectorMqttTopics.ui16_KeepSession = 1;
    toldSessions = 0;
    cfg_->onKeptSession = [] { ++toldSessions; };
  }
  ~KeptSession() override { ZeroMainState(gMainState); }

  // A packet that the broker has not answered yet.
  void PublishToAStoppedBroker(const char* message) {
    broker_.Signal(SIGSTOP);
    SetNextPublish(*cfg_, "a/topic", message);
    const CapturedOutput output;
    EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
  }

  void Break() const { ::shutdown(mosquitto_socket(cfg_->mosq), SHUT_RDWR); }

  void WaitForLossAndReturn() {
    ASSERT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
    broker_.Signal(SIGCONT);
    ASSERT_TRUE(WaitUntil([this] { return cfg_->connected.load(); }));
  }

  const mosquitto* Handle() {
    const std::lock_guard lock(cfg_->mutex);
    return cfg_->mosq;
  }

  // What is heard of the client up to a last message.
  std::vector<std::string> HeardUpTo(Listener& listener, const std::string& last) {
    {
      SetNextPublish(*cfg_, "a/topic", last.c_str());
      const CapturedOutput output;
      EXPECT_EQ(mosquitto_client_publish(*cfg_), 0);
    }
    std::vector<std::string> heard;
    EXPECT_TRUE(WaitUntil([&] {
      heard.clear();
      for (const HeardMessage& message : listener.Heard()) {
        heard.push_back(message.payload);
      }
      return !heard.empty() && heard.back() == last;
    }));
    return heard;
  }

  LocalBroker broker_;
};

TEST_F(KeptSession, IsTakenUpAgainByTheClientThatHasLivedThroughTheBreak) {
  const ConnectedClient client(*cfg_);
  const mosquitto* const before = Handle();
  CapturedOutput output;
  Break();
  // The client may be back before anybody has seen it gone.
  ASSERT_TRUE(WaitUntil([&output] { return output.OutSoFar().ends_with("topic_count : 0\n"); }));
  EXPECT_EQ(Handle(), before);
  EXPECT_EQ(output.Out(), "on_connect_callback:\nConnect Success:\ntopic_count : 0\n");
  EXPECT_EQ(toldSessions, 1);
}

TEST_F(KeptSession, APacketThatWasOnItsWayAtABreakArrivesOnce) {
  Listener listener;
  const ConnectedClient client(*cfg_);
  PublishToAStoppedBroker("on its way");
  Break();
  const CapturedOutput output;
  WaitForLossAndReturn();
  EXPECT_EQ(HeardUpTo(listener, "last"), (std::vector<std::string>{"on its way", "last"}));
}

TEST_F(KeptSession, ThatTheBrokerHasForgottenIsBegunByAClientMadeAnew) {
  const ConnectedClient client(*cfg_);
  const mosquitto* const before = Handle();
  CapturedOutput output;
  broker_.Stop();
  ASSERT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
  broker_.Start();
  ASSERT_TRUE(WaitUntil([&output] { return output.OutSoFar().ends_with("topic_count : 0\n"); }));
  EXPECT_NE(Handle(), before);
  EXPECT_EQ(output.Out(), "on_connect_callback:\nConnect Success:\ntopic_count : 0\n");
  EXPECT_EQ(toldSessions, 0);
}

TEST_F(KeptSession, APacketThatWasOnItsWayToABrokerThatIsGoneIsNotSentByTheLibrary) {
  Listener listener;
  const ConnectedClient client(*cfg_);
  PublishToAStoppedBroker("on its way");
  const CapturedOutput output;
  broker_.Stop();
  ASSERT_TRUE(WaitUntil([this] { return !cfg_->connected; }));
  broker_.Start();
  ASSERT_TRUE(listener.WaitForSubscriptions(2));
  ASSERT_TRUE(WaitUntil([this] { return cfg_->connected.load(); }));
  EXPECT_EQ(HeardUpTo(listener, "last"), (std::vector<std::string>{"last"}));
}

}  // namespace
}  // namespace datacollector
