// Confirmations that come late, twice, in storms, for rows that are gone or not at all: each fits the one row
// that it names, and delivery goes on.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;
using gateway::Packet;

constexpr int kRows = 5;

class ConfirmationFaultTest : public FaultBench {
 protected:
  void WaitUntilAllAreSent(std::size_t rows) {
    const auto deadline = std::chrono::steady_clock::now() + 4 * gateway::kPatience;
    while (gateway::ColumnOf(AIO, "TxStatus") != std::vector<std::string>(rows, "1")) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline)
          << testing::PrintToString(gateway::ColumnOf(AIO, "TxStatus"));
      WaitForForwardingRounds(1);
    }
  }
};

TEST_F(ConfirmationFaultTest, EveryOtherOneIsLost) {
  config.PublishInterval(AIO, 1);
  std::atomic<int> packets = 0;
  Start([&packets](const Packet&) { return ++packets % 2 == 0 ? 1 : -1; });
  StoreFrom(AIO, 1, 3);
  WaitUntilAllAreSent(3);
  EXPECT_GE(httpSendApp->Packets(AIO).size(), 6U);
}

TEST_F(ConfirmationFaultTest, EachComesTwice) {
  Start([this](const Packet& packet) {
    httpSendApp->Confirm(packet, 1);
    return 1;
  });
  StoreFrom(AIO, 1, kRows);
  WaitUntilAllAreSent(kRows);
  std::vector<int> requests;
  for (const Packet& packet : httpSendApp->Packets(AIO)) {
    requests.push_back(packet.Request());
  }
  EXPECT_EQ(requests, (std::vector<int>{1, 2, 3, 4, 5})) << "a doubled confirmation has moved another record";
}

TEST_F(ConfirmationFaultTest, TheHttpSendAppDiesAndComesBack) {
  config.PublishInterval(AIO, 1);
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, 3);
  httpSendApp->WaitForPacket(AIO, 0);
  httpSendApp.reset();
  httpSendApp = std::make_unique<HttpSendApp>(HttpSendApp::Delivered);
  // A retry tells the new one what the old one has taken along.
  WaitUntilAllAreSent(3);
}

TEST_F(ConfirmationFaultTest, OneForAnEvictedRowTouchesNone) {
  Start(HttpSendApp::Silent);
  Store(AIO, 1);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  WanDown();
  StoreFrom(AIO, 2, kRows);
  while (gateway::RowsOf(AIO).back().at("RecordNumber") != "1" ||
         gateway::RowsOf(AIO).back().at("RecordReadTime") == packet.ReadTime()) {
    Store(AIO, 1000 + static_cast<int>(Out().Count(FactsOf(AIO).stored)));
  }
  httpSendApp->Confirm(packet, 1);
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(gateway::ColumnOf(AIO, "TxStatus"), std::vector<std::string>(kRows, "0"));
}

TEST_F(ConfirmationFaultTest, AStormOfWrongOnesLetsRecordsThroughAndTouchesNoRow) {
  WanDown();
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, kRows);
  std::mt19937 random(Seed());
  const int storm = Rounds(2000, 10000);
  int last = 0;
  for (int confirmation = 0; confirmation < storm; ++confirmation) {
    const std::string number = std::to_string(random() % 70000);
    last = source->PublishLater(FactsOf(AIO).statusTopic, "AIO,2001-01-01 00:00:00," + number + ",1,never");
  }
  ASSERT_TRUE(source->WaitForCompletion(last, 4 * gateway::kPatience));
  EXPECT_TRUE(StoreEventually(AIO, 100, std::chrono::seconds(60)) == 100);
  EXPECT_EQ(gateway::ColumnOf(AIO, "TxStatus"), std::vector<std::string>(kRows, "0"));
  ExpectSoundRing(AIO, kRows);
}

}  // namespace
}  // namespace datacollector::faults
