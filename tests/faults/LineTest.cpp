// A bad line to the broker: it stalls, it drips, it is cut at one end and the other is not told. What the
// broker has given to a line that lives is stored once and in order, and a line that is dead is given up in
// time.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "faults/bench/FaultBench.h"
#include "faults/bench/Proxy.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;
using gateway::PayloadOf;
using gateway::Transcript;
using std::chrono::seconds;

constexpr std::uint16_t kProxyPort = 1884;
constexpr int kRows = 5000;
constexpr int kBatch = 30;
constexpr seconds kStall{2};

// The client pings after a minute of silence, and waits as long for the answer.
constexpr seconds kDeadLineIsNoticed{150};
constexpr int kDeadLines = 3;

class LineTest : public FaultBench {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    config.RowLimit(AIO, kRows);
    faults.SetBrokerPort(kProxyPort);
    WanDown();
  }

  void TearDown() override {
    FaultBench::TearDown();
    faults.SetBrokerPort(0);
  }

  int Flood(int firstRequest, int count = kBatch) const {
    int message = 0;
    for (int request = firstRequest; request < firstRequest + count; ++request) {
      message = source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, request));
    }
    return message;
  }

  void WaitUntilSubscribedAgain(Transcript::Mark since, seconds patience = gateway::kPatience) const {
    ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", static_cast<std::size_t>(config.SubscribedTopics()),
                                   since, patience));
  }

  // All records from the first one on, once and in order.
  static void ExpectStoredFrom(int firstRequest, int count = kBatch) {
    ExpectSoundRing(AIO, kRows);
    std::vector<int> expected;
    for (int request = firstRequest; request < firstRequest + count; ++request) {
      expected.push_back(request);
    }
    std::vector<int> stored = StoredRequests(AIO);
    stored.erase(stored.begin(), std::lower_bound(stored.begin(), stored.end(), firstRequest));
    EXPECT_EQ(stored, expected);
  }

  // A line that has been cut at an end while records came: they may be lost; those behind them may not.
  void CutUnderLoad(Proxy::End told, int rounds, seconds patience) {
    Start(HttpSendApp::Silent);
    std::mt19937 random(Seed());
    int request = 1;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
      const Transcript::Mark before = Out().End();
      Flood(request);
      request += kBatch;
      ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, random() % kBatch + 1, before));
      const Transcript::Mark cut = Out().End();
      proxy.Cut(told);
      WaitUntilSubscribedAgain(cut, patience);
      const Transcript::Mark back = Out().End();
      ASSERT_TRUE(source->WaitForCompletion(Flood(request)));
      // The broker may still have given out the end of the first batch.
      ASSERT_TRUE(Out().WaitFor(PayloadOf(AIO, request + kBatch - 1), back));
      ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch, back));
      ExpectStoredFrom(request);
      request += kBatch;
    }
    std::printf("%d cuts\n", rounds);
  }

  Proxy proxy{kProxyPort};
};

struct Stalled {
  const char* name;
  std::vector<Proxy::End> senders;
};

void PrintTo(const Stalled& stalled, std::ostream* out) { *out << stalled.name; }

class StalledLineTest : public LineTest, public testing::WithParamInterface<Stalled> {
 protected:
  void Stall(bool stalled) {
    for (const Proxy::End end : GetParam().senders) {
      proxy.Stall(end, stalled);
    }
  }
};

// That nothing happens for a while is what a stall is; nobody waits for anything by it.
TEST_P(StalledLineTest, CostsNothing) {
  Start(HttpSendApp::Silent);
  Stall(true);
  Flood(1);
  std::this_thread::sleep_for(kStall);
  Flood(1 + kBatch);
  Stall(false);
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, 2 * kBatch));
  ExpectStoredFrom(1, 2 * kBatch);
}

TEST_P(StalledLineTest, AtTheStart) {
  Stall(true);
  httpSendApp = std::make_unique<HttpSendApp>(HttpSendApp::Silent);
  source = std::make_unique<gateway::Peer>();
  Launch();
  WaitUntilInLoop();
  std::this_thread::sleep_for(kStall);
  Stall(false);
  WaitUntilSubscribed();
  Flood(1);
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kBatch));
  ExpectStoredFrom(1);
}

INSTANTIATE_TEST_SUITE_P(From, StalledLineTest,
                         testing::Values(Stalled{"TheBroker", {Proxy::End::Broker}},
                                         Stalled{"TheDaemon", {Proxy::End::Daemon}},
                                         Stalled{"Both", {Proxy::End::Broker, Proxy::End::Daemon}}),
                         NameOfCase<Stalled>);

TEST_F(LineTest, Drips) {
  constexpr std::size_t kBytes = 40;  // four kilobytes a second
  proxy.Drip(kBytes);
  Start(HttpSendApp::Silent);
  const int records = Rounds(kBatch, 1000);
  Flood(1, records);
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, static_cast<std::size_t>(records), 0,
                                 gateway::kPatience * Factor()));
  ExpectStoredFrom(1, records);
}

// The broker still holds the old connection when the new one comes.
TEST_F(LineTest, IsCutAndTheBrokerIsNotTold) {
  CutUnderLoad(Proxy::End::Daemon, Rounds(2, 20), gateway::kPatience);
}

class DeadLineTest : public LineTest, public testing::WithParamInterface<seconds> {};

// In the long form alone: it takes the client minutes to notice.
TEST_P(DeadLineTest, IsCutAndTheDaemonIsNotTold) { CutUnderLoad(Proxy::End::Broker, kDeadLines, GetParam()); }

std::vector<seconds> InTheLongForm() {
  return Factor() > 1 ? std::vector<seconds>{kDeadLineIsNoticed} : std::vector<seconds>{};
}

INSTANTIATE_TEST_SUITE_P(LongForm, DeadLineTest, testing::ValuesIn(InTheLongForm()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(DeadLineTest);

}  // namespace
}  // namespace datacollector::faults
