// A broker that is killed under load, keeps nothing, and numbers its messages from 1 again.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

constexpr int kRounds = 6;
constexpr int kBeforeTheCrash = 100;
constexpr int kAfterTheCrash = 150;  // more, so that their message numbers meet those of before

class BrokerCrashTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO}).LoopInterval(20).RowLimit(AIO, 5000);
  }

  // Publishes `count` records without waiting for each; returns the message id of the last one.
  int Flood(int firstRequest, int count) const {
    int last = 0;
    for (int request = firstRequest; request < firstRequest + count; ++request) {
      last = source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, request));
    }
    return last;
  }

  static std::vector<int> Requests() {
    std::vector<int> requests;
    for (const std::string& text : ColumnOf(AIO, "RequestID")) {
      requests.push_back(std::stoi(text));
    }
    return requests;
  }

  static void ExpectRising(const std::vector<int>& requests) {
    for (std::size_t i = 1; i < requests.size(); ++i) {
      EXPECT_LT(requests[i - 1], requests[i]);
    }
  }
};

TEST_F(BrokerCrashTest, EveryRecordThatTheNewBrokerTakesIsStoredOnceAndInOrder) {
  Start(HttpSendApp::Silent);
  const auto topics = static_cast<std::size_t>(config.SubscribedTopics());
  int request = 1;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    const Transcript::Mark flood = Out().End();
    Flood(request, kBeforeTheCrash);
    request += kBeforeTheCrash;
    ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, 20, flood));
    broker.Kill();
    source.reset();

    const Transcript::Mark away = Out().End();
    broker.Start();
    const auto accepting = std::chrono::steady_clock::now();
    ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", topics, away));
    EXPECT_LE(std::chrono::steady_clock::now() - accepting, std::chrono::seconds(2));
    source = std::make_unique<Peer>();
    const Transcript::Mark back = Out().End();
    const int first = request;
    ASSERT_TRUE(source->WaitForCompletion(Flood(first, kAfterTheCrash)));
    request += kAfterTheCrash;
    EXPECT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kAfterTheCrash, back));
    const std::vector<int> stored = Requests();
    ExpectRising(stored);
    EXPECT_EQ(std::count_if(stored.begin(), stored.end(), [first](int number) { return number >= first; }),
              kAfterTheCrash);
  }
}

}  // namespace
}  // namespace datacollector::gateway
