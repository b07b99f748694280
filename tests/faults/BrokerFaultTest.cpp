// A broker that dies, hangs, refuses or overwhelms: the daemon stays, comes back by itself, and stores what
// comes after that once and in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <random>
#include <string>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;
using gateway::PayloadOf;
using gateway::Peer;
using gateway::Transcript;

constexpr int kRows = 2000;
constexpr int kBatch = 20;

class BrokerFaultTest : public FaultBench {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    environment.clear();
    config.RowLimit(AIO, kRows);
    WanDown();
  }

  void WaitUntilSubscribedAgain(Transcript::Mark since) {
    ASSERT_TRUE(
        Out().WaitForCount("Subscribed (mid: ", static_cast<std::size_t>(config.SubscribedTopics()), since));
  }

  // Publishes without waiting; returns the id of the last message.
  static int Flood(Peer& peer, int firstRequest, int count) {
    int message = 0;
    for (int request = firstRequest; request < firstRequest + count; ++request) {
      message = peer.PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, request));
    }
    return message;
  }

  void ExpectStored(int firstRequest, int count) {
    ExpectSoundRing(AIO, kRows);
    std::vector<int> expected;
    for (int request = firstRequest; request < firstRequest + count; ++request) {
      expected.push_back(request);
    }
    std::vector<int> stored = StoredRequests(AIO);
    stored.erase(stored.begin(), std::lower_bound(stored.begin(), stored.end(), firstRequest));
    EXPECT_EQ(stored, expected);
  }
};

struct BrokerEnd {
  const char* name;
  void (gateway::Broker::*end)();
  const char* settings;  // of the broker
};

void PrintTo(const BrokerEnd& end, std::ostream* out) { *out << end.name; }

constexpr const char* kForgetful = "allow_anonymous true\n";
constexpr const char* kPersistent =
    "allow_anonymous true\npersistence true\npersistence_location /var/tmp/\nautosave_interval 1\n";

class BrokerEndTest : public BrokerFaultTest, public testing::WithParamInterface<BrokerEnd> {
 protected:
  void SetUp() override {
    BrokerFaultTest::SetUp();
    broker.Kill();
    broker.Start(GetParam().settings);
  }
};

// What the broker had in its hands dies with it, as the daemon's session does; what a source gets through
// afterwards must not be mixed up with it.
TEST_P(BrokerEndTest, UnderLoad) {
  Start(HttpSendApp::Silent);
  std::mt19937 random(Seed());
  const int rounds = Rounds(3, 50);
  int request = 1;
  for (int round = 0; round < rounds; ++round) {
    {
      Peer doomed;
      const Transcript::Mark before = Out().End();
      Flood(doomed, request, kBatch);
      ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, random() % kBatch + 1, before));
      (broker.*GetParam().end)();
    }
    request += kBatch;
    const Transcript::Mark ended = Out().End();
    broker.Start(GetParam().settings);
    WaitUntilSubscribedAgain(ended);
    Peer survivor;
    const Transcript::Mark before = Out().End();
    ASSERT_TRUE(survivor.WaitForCompletion(Flood(survivor, request, kBatch)));
    EXPECT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch, before)) << "round " << round;
    ExpectStored(request, kBatch);
    request += kBatch;
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
  std::printf("%d ends\n", rounds);
}

INSTANTIATE_TEST_SUITE_P(
    Broker, BrokerEndTest,
    testing::Values(BrokerEnd{"Killed", &gateway::Broker::Kill, kForgetful},
                    BrokerEnd{"KilledWithPersistence", &gateway::Broker::Kill, kPersistent},
                    BrokerEnd{"StoppedWithPersistence", &gateway::Broker::Stop, kPersistent}),
    NameOfCase<BrokerEnd>);

TEST_F(BrokerFaultTest, StoppedForAWhile) {
  Start(HttpSendApp::Silent);
  broker.Signal(SIGSTOP);
  const int last = Flood(*source, 1, kBatch);
  EXPECT_FALSE(source->WaitForCompletion(last, std::chrono::seconds(2))) << "the broker runs on";
  broker.Signal(SIGCONT);
  ASSERT_TRUE(source->WaitForCompletion(last));
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch));
  ExpectStored(1, kBatch);
}

TEST_F(BrokerFaultTest, RefusesTheConnectionForAWhile) {
  Start(HttpSendApp::Silent);
  broker.Kill();
  broker.Start("allow_anonymous false\n");
  ASSERT_TRUE(broker.Log().WaitFor("not authorised"));
  EXPECT_TRUE(daemon->Running());
  broker.Kill();
  const Transcript::Mark killed = Out().End();
  broker.Start();
  WaitUntilSubscribedAgain(killed);
  Peer peer;
  ASSERT_TRUE(peer.WaitForCompletion(Flood(peer, 1, kBatch)));
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch));
  ExpectStored(1, kBatch);
}

TEST_F(BrokerFaultTest, HoldsAThousandRecordsForADaemonThatHangs) {
  constexpr int kRecords = 1000;
  Start(HttpSendApp::Silent);
  daemon->Signal(SIGSTOP);
  ASSERT_TRUE(source->WaitForCompletion(Flood(*source, 1, kRecords), 3 * gateway::kPatience));
  daemon->Signal(SIGCONT);
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kRecords, 0, 5 * gateway::kPatience));
  ExpectStored(1, kRecords);
}

// A queue that is full drops what comes; what it has taken keeps its order, and records behind it are stored.
TEST_F(BrokerFaultTest, DropsWhatItsQueueHasNoRoomFor) {
  constexpr int kRecords = 200;
  constexpr int kQueue = 30;
  broker.Kill();
  broker.Start("allow_anonymous true\nmax_queued_messages " + std::to_string(kQueue) + "\n");
  Start(HttpSendApp::Silent);
  daemon->Signal(SIGSTOP);
  ASSERT_TRUE(source->WaitForCompletion(Flood(*source, 1, kRecords)));
  daemon->Signal(SIGCONT);
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kQueue));
  ASSERT_TRUE(source->WaitForCompletion(Flood(*source, kRecords + 1, 1)));
  ASSERT_TRUE(Out().WaitFor(PayloadOf(AIO, kRecords + 1)));
  ASSERT_TRUE(Out().WaitFor(FactsOf(AIO).stored, *Out().WaitFor(PayloadOf(AIO, kRecords + 1))));
  ExpectSoundRing(AIO, kRows);
  const std::vector<int> stored = StoredRequests(AIO);
  EXPECT_LT(stored.size(), static_cast<std::size_t>(kRecords)) << "the queue was not full";
  EXPECT_EQ(stored.back(), kRecords + 1);
}

// A source that sets the retain flag is told not to. It harms the order of nothing else: its record comes
// again with each new connection, once.
TEST_F(BrokerFaultTest, HoldsAThousandRetainedMessages) {
  constexpr int kMessages = 1000;
  gateway::Peer retainer;
  int last = retainer.PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, 1), true);
  for (int message = 1; message < kMessages; ++message) {
    const std::string topic = message % 2 == 0 ? "elsewhere/" : std::string(FactsOf(AIO).recordTopic) + "/";
    last = retainer.PublishLater(topic + std::to_string(message), PayloadOf(AIO, 0), true);
  }
  ASSERT_TRUE(retainer.WaitForCompletion(last, 2 * gateway::kPatience));
  Start(HttpSendApp::Silent);
  ASSERT_TRUE(Out().WaitFor(FactsOf(AIO).stored));
  StoreFrom(AIO, 2, kBatch);
  ExpectStored(1, kBatch + 1);
}

struct OddPayload {
  const char* name;
  std::string payload;
};

void PrintTo(const OddPayload& payload, std::ostream* out) { *out << payload.name; }

class OddPayloadTest : public BrokerFaultTest, public testing::WithParamInterface<OddPayload> {};

TEST_P(OddPayloadTest, OnEveryTopicCostsNothingElse) {
  config.Only({AIO, DIO, TEMPERATURE, RS485, RS232, SNMP});
  Start(HttpSendApp::Silent);
  for (const SourceKind kind : kAllKinds) {
    Deliver(FactsOf(kind).recordTopic, GetParam().payload);
    Deliver(FactsOf(kind).statusTopic, GetParam().payload);
  }
  for (const SourceKind kind : kAllKinds) {
    EXPECT_TRUE(gateway::RowsOf(kind).empty()) << FactsOf(kind).name;
    Store(kind, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, OddPayloadTest,
                         testing::Values(OddPayload{"Empty", ""}, OddPayload{"Nul", std::string(10, '\0')},
                                         OddPayload{"NoText", "\xff\xfe\xfd\xc0\x80"},
                                         OddPayload{"CommasOnly", std::string(5000, ',')},
                                         OddPayload{"AMegabyte", std::string(1 << 20, 'A')},
                                         OddPayload{"QuotesOnly", std::string(2999, '"')}),
                         NameOfCase<OddPayload>);

}  // namespace
}  // namespace datacollector::faults
