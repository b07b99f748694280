// Standard output that nobody reads: records go on.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class UnreadTraceTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO, RS485}).LoopInterval(20);
  }

  static bool WaitForRows(SourceKind kind, std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (RowsOf(kind).size() < count) {
      if (std::chrono::steady_clock::now() >= deadline) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }
};

TEST_F(UnreadTraceTest, EveryRecordOfAFloodIsStoredWhileNobodyReadsTheTrace) {
  constexpr int kRecords = 150;
  config.RowLimit(AIO, 2 * kRecords).RowLimit(RS485, 2 * kRecords);
  httpSendApp = std::make_unique<HttpSendApp>(HttpSendApp::Silent);
  source = std::make_unique<Peer>();
  Launch(ChildProcess::Output::kUnread);
  ASSERT_TRUE(broker.Log().WaitForCount("Sending SUBACK to mosqDataCollector",
                                        static_cast<std::size_t>(config.SubscribedTopics())));
  for (int request = 1; request <= kRecords; ++request) {
    source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, request));
    source->PublishLater(FactsOf(RS485).recordTopic, PayloadOf(RS485, request));
  }
  ASSERT_TRUE(daemon->WaitUntilPipeIsFull());
  EXPECT_TRUE(WaitForRows(AIO, kRecords)) << RowsOf(AIO).size();
  EXPECT_TRUE(WaitForRows(RS485, kRecords)) << RowsOf(RS485).size();
  EXPECT_TRUE(httpSendApp->WaitForPackets(AIO, 1));
}

}  // namespace
}  // namespace datacollector::gateway
