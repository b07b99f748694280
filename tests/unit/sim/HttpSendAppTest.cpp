#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HttpSendApp.h"
#include "Ledger.h"
#include "Options.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

constexpr unsigned long kRun = 1763632800;
constexpr const char* kAioTopic = "HTTPSend/AIO/Record";

std::string AioPacket(int recordNumber) {
  return "<,SITE01,2026-11-20 10:00:00," + std::to_string(recordNumber) + ",7,1.0.0,1,1763632800,1,>";
}

class HttpSendAppTest : public testing::Test {
 protected:
  HttpSendApp MakeApp() {
    ledger_.Offer(AIO);
    ledger_.Published(AIO);
    return {options_, kRun, ledger_,
            [this](SourceKind, const Packet&, const char* topic, const std::string& payload) {
              sent_.push_back(std::string(topic) + ' ' + payload);
            }};
  }

  Options options_;
  Ledger ledger_{false};
  std::vector<std::string> sent_;
};

TEST_F(HttpSendAppTest, ConfirmsThePacketsRow) {
  options_.status = 5;
  HttpSendApp app = MakeApp();
  app.OnPacket(1.0, kAioTopic, AioPacket(12));
  app.Tick(1.0);
  ASSERT_EQ(sent_.size(), 1U);
  EXPECT_EQ(sent_[0].find("HTTPSend/AIO/Status AIO,2026-11-20 10:00:00,12,5,20"), 0U) << sent_[0];
  EXPECT_EQ(ledger_.Counts(AIO).handedOver, 1U);
}

TEST_F(HttpSendAppTest, WaitsForItsDelay) {
  options_.delayMilliseconds = 500;
  HttpSendApp app = MakeApp();
  app.OnPacket(1.0, kAioTopic, AioPacket(12));
  app.Tick(1.4);
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(app.NextDue(), 1.5);
  app.Tick(1.5);
  EXPECT_EQ(sent_.size(), 1U);
}

TEST_F(HttpSendAppTest, LeavesEveryNthPacketOfAKindUnconfirmed) {
  options_.dropEvery = 3;
  HttpSendApp app = MakeApp();
  for (int i = 1; i <= 7; ++i) {
    app.OnPacket(1.0, kAioTopic, AioPacket(i));
  }
  app.Tick(1.0);
  ASSERT_EQ(sent_.size(), 5U);
  EXPECT_NE(sent_[2].find(",4,"), std::string::npos) << sent_[2];
}

TEST_F(HttpSendAppTest, StaysSilentWhenToldTo) {
  options_.confirm = false;
  HttpSendApp app = MakeApp();
  app.OnPacket(1.0, kAioTopic, AioPacket(12));
  app.Tick(1.0);
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(ledger_.Counts(AIO).handedOver, 1U);
}

TEST_F(HttpSendAppTest, LeavesPacketsOfKindsAloneThatItDoesNotPlay) {
  options_.kinds = {DIO};
  HttpSendApp app = MakeApp();
  app.OnPacket(1.0, kAioTopic, AioPacket(12));
  app.OnPacket(1.0, "HTTPSend/Reserved", "x");
  app.Tick(1.0);
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(ledger_.Counts(AIO).foreign, 0U);
}

TEST_F(HttpSendAppTest, APacketWithoutARecordNumberIsForeignAndNotConfirmed) {
  HttpSendApp app = MakeApp();
  app.OnPacket(1.0, kAioTopic, "nonsense");
  app.Tick(1.0);
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(ledger_.Counts(AIO).foreign, 1U);
}

}  // namespace
}  // namespace datacollector::sim
