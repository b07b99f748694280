// The broker that isn't there, comes late, or goes and comes back.
#include <gtest/gtest.h>

#include <chrono>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"
#include "gateway/harness/Impostor.h"

namespace datacollector::gateway {
namespace {

class BrokerTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO, RS485}).LoopInterval(20);
  }
};

TEST_F(BrokerTest, WithoutABrokerItTriesFourTimesFiveSecondsApartAndExitsWith0) {
  broker.Kill();
  const auto before = std::chrono::steady_clock::now();
  Launch();
  EXPECT_TRUE(ExitedWith(daemon->WaitForExit(std::chrono::seconds(40)), 0));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
  EXPECT_EQ(Out().Count("Failure: mosquitto_client_connect\n"), 4U);
  EXPECT_EQ(Err().Count("Error: Connection refused\n"), 4U) << Err().All();
  EXPECT_TRUE(
      ComesInOrder(Out().All(), {"Success: mosquitto_client_init\n", "Failure: mosquitto_client_connect\n",
                                 "Failure: mosquitto_client_connect\n", "Failure: mosquitto_client_connect\n",
                                 "Failure: mosquitto_client_connect\n",
                                 "Failure: Mosquitto_Initialization, So returning from Main thread\n"}));
  EXPECT_EQ(log.Messages().back(), "mosquitto_client_connect failure & number of retries over");
}

TEST_F(BrokerTest, ABrokerThatComesLateIsFoundByTheNextAttempt) {
  broker.Kill();
  Launch();
  ASSERT_TRUE(Out().WaitFor("Failure: mosquitto_client_connect\n"));
  broker.Start();
  WaitUntilSubscribed();
  WaitUntilInLoop();
  source = std::make_unique<Peer>();
  httpSendApp = std::make_unique<HttpSendApp>();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
}

TEST_F(BrokerTest, AfterItsReturnTheTopicsAreSubscribedAgainAndRecordsFlow) {
  Start();
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  broker.Kill();
  broker.Start();
  ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", 2 * topics));
  ASSERT_TRUE(source->WaitForConnection(2));
  ASSERT_TRUE(httpSendApp->Connection().WaitForConnection(2));
  Store(AIO);
  Store(RS485);
  WaitUntilUpdated(AIO, 1);
  WaitUntilUpdated(RS485, 1);
}

// Nonsense from whoever answers on the broker's port ends the library's network thread for good.
TEST_F(BrokerTest, AMalformedPacketDoesNotEndTheConnectionForGood) {
  Launch();
  WaitUntilSubscribed();
  WaitUntilInLoop();
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  broker.Kill();
  {
    const Impostor impostor;
    const Impostor::Bytes accepted = {0x20, 0x02, 0x00, 0x00};
    const Impostor::Bytes malformed = {0xf0, 0x00};
    ASSERT_TRUE(impostor.Answer({accepted, malformed}));
  }
  broker.Start();
  ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", 2 * topics));
  source = std::make_unique<Peer>();
  httpSendApp = std::make_unique<HttpSendApp>();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
}

TEST_F(BrokerTest, WhatIsRefusedWhileTheBrokerIsAwayIsNotSentLaterAsWell) {
  constexpr const char* kRefused = "Error: Client not connected when trying to publish.\n";
  config.PublishInterval(AIO, 3);
  Start(HttpSendApp::Silent);
  Store(AIO, 1);
  Store(AIO, 2);
  httpSendApp->WaitForPacket(AIO, 0);
  ASSERT_TRUE(Out().WaitFor("on_publish_callback:mid = "));
  const Transcript::Mark away = Out().End();
  broker.Kill();
  ASSERT_TRUE(Err().WaitForCount(kRefused, 2));
  EXPECT_TRUE(ComesInOrder(Out().Since(away),
                           {"mosquitto_client_publish: cfg->status == STATUS_CONNACK_RECVD\n",
                            "Failure: mosquitto_client_publish\n", "Failure: mosquitto_client_publish\n"}));
  EXPECT_TRUE(log.WaitFor("mosquitto_client_publish failure"));

  httpSendApp->Set(HttpSendApp::Delivered);
  const std::size_t before = httpSendApp->Packets(AIO).size();
  broker.Start();
  WaitUntilUpdated(AIO, 2);
  WaitForForwardingRounds(3);
  const std::vector<Packet> packets = httpSendApp->Packets(AIO);
  ASSERT_EQ(packets.size(), before + 2);
  EXPECT_EQ(packets[before].Request(), 1);
  EXPECT_EQ(packets[before + 1].Request(), 2);
}

}  // namespace
}  // namespace datacollector::gateway
