// All kinds at once through everything that can go wrong on the way: every record is delivered, in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

constexpr int kRecords = 30;  // of each kind
constexpr int kPhases = 6;
constexpr int kRecordsPerPhase = kRecords / kPhases;

class WholeRoadTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
    for (const SourceKind kind : kAllKinds) {
      config.PublishInterval(kind, 2);
    }
  }

  // The next records of all kinds, in turn, each only when the one before has been stored.
  void StoreNextPhase() {
    for (int record = 0; record < kRecordsPerPhase; ++record) {
      ++lastRequest_;
      for (const SourceKind kind : kAllKinds) {
        Store(kind, lastRequest_);
      }
    }
  }

  void RestartBroker() {
    const std::size_t subscribed = Out().Count("Subscribed (mid: ");
    broker.Kill();
    broker.Start();
    ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ",
                                   subscribed + static_cast<std::size_t>(config.SubscribedTopics())));
    ASSERT_TRUE(source->WaitForConnection(2));
    ASSERT_TRUE(httpSendApp->Connection().WaitForConnection(2));
  }

  // A packet may come more than once, but never an older one after a newer one, and none is left out.
  void ExpectDeliveredInOrder(SourceKind kind) const {
    std::vector<int> requests;
    for (const Packet& packet : httpSendApp->Packets(kind)) {
      requests.push_back(packet.Request());
    }
    EXPECT_TRUE(std::is_sorted(requests.begin(), requests.end())) << testing::PrintToString(requests);
    requests.erase(std::unique(requests.begin(), requests.end()), requests.end());
    EXPECT_EQ(requests.size(), static_cast<std::size_t>(kRecords)) << testing::PrintToString(requests);
  }

 private:
  int lastRequest_ = 0;
};

TEST_F(WholeRoadTest, AFloodOfAllKindsIsStoredWholeWhileRecordsGoOut) {
  constexpr int kFlood = 100;  // of each kind
  Start();
  const Transcript::Mark before = Out().End();
  for (int request = 1; request <= kFlood; ++request) {
    for (const SourceKind kind : kAllKinds) {
      source->PublishLater(FactsOf(kind).recordTopic, PayloadOf(kind, request));
    }
  }
  std::vector<std::string> numbers;
  for (int number = 1; number <= kFlood; ++number) {
    numbers.emplace_back(std::to_string(number));
  }
  for (const SourceKind kind : kAllKinds) {
    SCOPED_TRACE(FactsOf(kind).name);
    ASSERT_TRUE(Out().WaitForCount(FactsOf(kind).stored, kFlood, before, std::chrono::seconds(60)));
    EXPECT_EQ(ColumnOf(kind, "RecordNumber"), numbers);
    EXPECT_EQ(ColumnOf(kind, "RequestID"), numbers);
    WaitUntilUpdated(kind, 1);
  }
}

TEST_F(WholeRoadTest, NoRecordIsLostAndNoneIsNumberedTwice) {
  Start();
  StoreNextPhase();
  httpSendApp->Set(HttpSendApp::Silent);
  StoreNextPhase();
  httpSendApp->Set(HttpSendApp::Delivered);
  StoreNextPhase();
  Terminate();
  Start();
  StoreNextPhase();
  Kill();
  Start();
  StoreNextPhase();
  RestartBroker();
  StoreNextPhase();

  for (const SourceKind kind : kAllKinds) {
    SCOPED_TRACE(FactsOf(kind).name);
    // Delivery is the slow part: a record a round and kind, and a round takes a second.
    const std::string last = Fill(FactsOf(kind).updated, {.number = kRecords});
    ASSERT_TRUE(Out().WaitFor(last, 0, std::chrono::seconds(80)));
    std::vector<std::string> numbers;
    for (int number = 1; number <= kRecords; ++number) {
      numbers.push_back(std::to_string(number));
    }
    EXPECT_EQ(ColumnOf(kind, "RecordNumber"), numbers);
    EXPECT_EQ(ColumnOf(kind, "RequestID"), numbers);
    EXPECT_EQ(ColumnOf(kind, "TxStatus"), std::vector<std::string>(kRecords, "1"));
    ExpectDeliveredInOrder(kind);
  }
}

}  // namespace
}  // namespace datacollector::gateway
