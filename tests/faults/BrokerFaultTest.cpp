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

// What the broker had in its hands dies with it; what a source gets through afterwards must not be mixed up
// with it.
TEST_F(BrokerFaultTest, KilledUnderLoad) {
  Start(HttpSendApp::Silent);
  std::mt19937 random(Seed());
  int request = 1;
  for (int round = 0; round < Rounds(5); ++round) {
    {
      Peer doomed;
      const Transcript::Mark before = Out().End();
      Flood(doomed, request, kBatch);
      ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, random() % kBatch + 1, before));
      broker.Kill();
    }
    request += kBatch;
    const Transcript::Mark killed = Out().End();
    broker.Start();
    WaitUntilSubscribedAgain(killed);
    Peer survivor;
    const Transcript::Mark before = Out().End();
    ASSERT_TRUE(survivor.WaitForCompletion(Flood(survivor, request, kBatch)));
    EXPECT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch, before)) << "round " << round;
    ExpectStored(request, kBatch);
    request += kBatch;
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

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
