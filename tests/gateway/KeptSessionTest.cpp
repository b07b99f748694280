// KeepSession = 1: the broker keeps what sources publish while the daemon is down, and what it repeats is
// stored once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"
#include "ground/FileLogger.h"
#include "support/EndConnection.h"
#include "support/Texts.h"

namespace datacollector::gateway {
namespace {

constexpr const char* kIdentifier = "DataCollector-GW0001";

class KeptSessionTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO, RS485}).LoopInterval(20).Set(kMqttFile, "KeepSession", 1);
    WanDown();
  }

  void Publish(SourceKind kind, int request) {
    ASSERT_TRUE(source->Publish(FactsOf(kind).recordTopic, PayloadOf(kind, request)));
  }

  // The broker has no reason to repeat what it has delivered so far.
  void WaitForAcknowledgements(std::size_t count) {
    ASSERT_TRUE(broker.Log().WaitForCount(std::string("Received PUBACK from ") + kIdentifier, count));
  }

  static std::vector<std::string> Requests(SourceKind kind) { return ColumnOf(kind, "RequestID"); }
};

TEST_F(KeptSessionTest, HasTheGatewaysIdentifierAndSubscribesWithQos1) {
  Start();
  EXPECT_TRUE(broker.Log().WaitFor(std::string(" as ") + kIdentifier + " (p2, c0, k60)"))
      << broker.Log().All();
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  EXPECT_EQ(Out().Count("): 1\n"), topics) << "subscriptions granted with QoS 1";
  Store(AIO);
  EXPECT_EQ(Out().Count("qos = <1>\n"), 1U);
}

TEST_F(KeptSessionTest, WhatIsPublishedWhileTheDaemonIsDownIsStoredInItsOrder) {
  Start();
  Store(AIO, 1);
  Store(RS485, 1);
  Terminate();
  for (int request = 2; request <= 40; ++request) {
    Publish(AIO, request);
    Publish(RS485, request);
  }
  Launch();
  ASSERT_TRUE(WaitUntil([] { return Requests(AIO).size() == 40 && Requests(RS485).size() == 40; }));
  std::vector<std::string> expected;
  for (int request = 1; request <= 40; ++request) {
    expected.push_back(std::to_string(request));
  }
  EXPECT_EQ(Requests(AIO), expected);
  EXPECT_EQ(Requests(RS485), expected);
}

TEST_F(KeptSessionTest, AConfirmationWaitsForTheDaemonAsWell) {
  WanUp();
  Start(HttpSendApp::Silent);
  Store(AIO);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  Terminate();
  httpSendApp->Confirm(packet, 1);
  Launch();
  WaitUntilUpdated(AIO, 1);
}

// The library acknowledges a message of QoS 1 behind its handler. Were it before, this record would be lost.
TEST_F(KeptSessionTest, ARecordThatWasInHandAtAKillComesAgain) {
  config.Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", 1000);
  Start();
  Store(AIO, 1);
  {
    Database other(DatabaseOf(AIO));
    other.Run("BEGIN EXCLUSIVE");
    const Transcript::Mark before = Out().End();
    Publish(AIO, 2);
    ASSERT_TRUE(Out().WaitFor("retry after waiting", before));
    Kill();
  }
  Launch();
  ASSERT_TRUE(Out().WaitFor("Record - 2 inserted successfully\n"));
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"1", "2"}));
}

// Holds the daemon up behind a record's commit, where it logs that an unsent record has made room, until it
// is killed.
class KeptSessionKillTest : public KeptSessionTest {
 protected:
  void StoreAndKillBeforeTheAcknowledgement(SourceKind kind, int request) {
    WaitForAcknowledgements(Requests(kind).size());
    std::filesystem::remove(kLogFile);
    ASSERT_EQ(::mkfifo(kLogFile, 0600), 0);
    const Descriptor full(::open(kLogFile, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    while (::write(full.Get(), "\n", 1) == 1) {
    }
    Publish(kind, request);
    ASSERT_TRUE(WaitUntil([&] { return Requests(kind).back() == std::to_string(request); }));
    Kill();
    std::filesystem::remove(kLogFile);
  }
};

TEST_F(KeptSessionKillTest, ARecordThatWasStoredAtAKillIsLeftOutWhenItComesAgain) {
  config.RowLimit(AIO, 3);
  Start();
  StoreFrom(AIO, 1, 3);
  StoreAndKillBeforeTheAcknowledgement(AIO, 4);
  ASSERT_FALSE(HasFailure());

  Publish(AIO, 4);  // the same reading once more, which is one of its own
  Publish(AIO, 5);
  Launch();
  ASSERT_TRUE(WaitUntil([] { return Requests(AIO).back() == "5"; }));
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"4", "4", "5"}));
  EXPECT_EQ(Err().Count("AIO record left out: the newest row, number 1, is this record already\n"), 1U)
      << Err().All();
}

// Nothing tells such a reading from one that the broker repeats.
TEST_F(KeptSessionTest, TheFirstReadingAfterAStartThatEqualsTheNewestRowIsLeftOut) {
  Start();
  Store(AIO, 7);
  WaitForAcknowledgements(1);
  Terminate();
  Publish(AIO, 7);
  Publish(AIO, 7);
  Publish(AIO, 8);
  Launch();
  ASSERT_TRUE(Out().WaitFor("Record - 3 inserted successfully\n"));
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"7", "7", "8"}));
  EXPECT_EQ(Err().Count("AIO record left out"), 1U) << Err().All();
}

TEST_F(KeptSessionTest, AReadingIsNoRepetitionAfterAConnectionWithoutASession) {
  Start();
  Store(AIO, 7);
  Terminate();
  broker.Kill();
  broker.Start();
  ASSERT_TRUE(source->WaitForConnection(2));
  Launch();
  WaitUntilSubscribed();
  Store(AIO, 7);
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"7", "7"}));
}

TEST_F(KeptSessionTest, ABrokerThatHasForgottenTheSessionIsSubscribedToByAClientMadeAnew) {
  WanUp();
  Start(HttpSendApp::Silent);
  Store(AIO, 1);
  httpSendApp->WaitForPacket(AIO, 0);
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  broker.Kill();
  broker.Start();
  ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", 2 * topics));
  EXPECT_EQ(Out().Count("on_connect_callback:\n"), 2U) << "the connection that was given up is not told";
  ASSERT_TRUE(source->WaitForConnection(2));
  Store(AIO, 1);
  Store(AIO, 2);
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"1", "1", "2"}));
  EXPECT_EQ(Err().Count("left out"), 0U) << Err().All();
}

// Another client under the daemon's identifier: the broker ends the connection and keeps the session.
class Usurper {
 public:
  Usurper() : client_(mosquitto_new(kIdentifier, false, nullptr)) {
    EXPECT_EQ(mosquitto_connect(client_, "127.0.0.1", 1883, 60), MOSQ_ERR_SUCCESS);
    EXPECT_EQ(mosquitto_loop_start(client_), MOSQ_ERR_SUCCESS);
  }
  ~Usurper() {
    EndConnection(client_);
    mosquitto_destroy(client_);
  }
  Usurper(const Usurper&) = delete;
  Usurper(Usurper&&) = delete;
  Usurper& operator=(const Usurper&) = delete;
  Usurper& operator=(Usurper&&) = delete;

 private:
  mosquitto* client_;
};

TEST_F(KeptSessionTest, AConnectionThatBreaksIsTakenUpAgainWithItsSession) {
  Start();
  Store(AIO, 1);
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  {
    const Usurper usurper;
    ASSERT_TRUE(broker.Log().WaitFor("already connected, closing old connection"));
  }
  Publish(AIO, 2);
  ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", 2 * topics));
  Publish(AIO, 3);
  // The first one may come again, and is left out then.
  ASSERT_TRUE(Out().WaitFor("Record - 3 inserted successfully\n"));
  EXPECT_EQ(Requests(AIO), (std::vector<std::string>{"1", "2", "3"}));
}

}  // namespace
}  // namespace datacollector::gateway
