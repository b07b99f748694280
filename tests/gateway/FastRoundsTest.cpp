// A backlog with fast rounds: as fast as it is confirmed, in order, one record of a kind on its way at a
// time.
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

constexpr const char* kLoopRound = "ui8_CurrentMinute : ";
constexpr const char* kWanIsDown = "WAN is down. \n";

std::vector<int> Numbers(int last) {
  std::vector<int> numbers(static_cast<std::size_t>(last));
  std::iota(numbers.begin(), numbers.end(), 1);
  return numbers;
}

class FastRounds : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Set(kGenericFile, "ForwardingRoundPauseInMilliSec", 10).LoopInterval(20);
  }

  std::vector<int> RequestsSent(SourceKind kind) const {
    std::vector<int> requests;
    for (const Packet& packet : httpSendApp->Packets(kind)) {
      requests.push_back(packet.Request());
    }
    return requests;
  }

  void LetWait(int records) {
    WanDown();
    for (const SourceKind kind : kAllKinds) {
      StoreFrom(kind, 1, records);
    }
  }

  void ExpectDrained(int records) {
    for (const SourceKind kind : kAllKinds) {
      ASSERT_TRUE(httpSendApp->WaitForPackets(kind, static_cast<std::size_t>(records))) << FactsOf(kind).name;
      WaitUntilUpdated(kind, records);
      EXPECT_EQ(RequestsSent(kind), Numbers(records)) << FactsOf(kind).name;
      EXPECT_EQ(ColumnOf(kind, "TxStatus"), std::vector<std::string>(static_cast<std::size_t>(records), "1"));
    }
  }
};

class FastRoundsOfAKind : public FastRounds, public testing::WithParamInterface<SourceKind> {};

// At the described pace it would take longer than anybody waits here.
TEST_F(FastRounds, ABacklogGoesOutAsFastAsItIsConfirmed) {
  constexpr int kRecords = 40;
  config.LoopInterval(3000);
  Start();
  LetWait(kRecords);
  WanUp();
  ExpectDrained(kRecords);
  EXPECT_EQ(Out().Count("forcefully sending unsent"), 0U);
}

// One by one, long after the round before: what rings is the storing, for the meter kinds too, which the main
// loop alone would not make due before its next round.
TEST_P(FastRoundsOfAKind, ARecordThatIsStoredGoesOutWithoutWaitingForTheMainLoop) {
  constexpr int kRecords = 6;
  config.Only({GetParam()}).LoopInterval(3000);
  Start();
  Store(GetParam(), 1);
  WaitUntilUpdated(GetParam(), 1);
  const Transcript::Mark before = Out().End();
  for (int request = 2; request <= kRecords; ++request) {
    Store(GetParam(), request);
    WaitUntilUpdated(GetParam(), request);
  }
  EXPECT_LT(Out().Count(kLoopRound, before), static_cast<std::size_t>(kRecords - 1));
  EXPECT_EQ(RequestsSent(GetParam()), Numbers(kRecords));
}

TEST_P(FastRoundsOfAKind, ASlowReceiverGetsEveryRecordOnce) {
  config.Only({GetParam()});
  Start(HttpSendApp::Silent);
  StoreFrom(GetParam(), 1, 3);
  for (std::size_t record = 0; record < 3; ++record) {
    const Packet packet = httpSendApp->WaitForPacket(GetParam(), record);
    WaitForLoopRounds(5);
    EXPECT_EQ(RequestsSent(GetParam()), Numbers(static_cast<int>(record) + 1));
    httpSendApp->Confirm(packet);
    WaitUntilUpdated(GetParam(), packet.Number());
  }
  EXPECT_EQ(Out().Count("forcefully sending unsent"), 0U);
}

TEST_P(FastRoundsOfAKind, ASilentReceiverGetsTheRecordAgainWhenItsTimeIsUp) {
  config.Only({GetParam()}).PublishInterval(GetParam(), 1);
  Start(HttpSendApp::Silent);
  Store(GetParam(), 1);
  for (std::size_t packet = 0; packet < 3; ++packet) {
    EXPECT_EQ(httpSendApp->WaitForPacket(GetParam(), packet).Request(), 1);
    OpenSendGate();
  }
  EXPECT_GE(Out().Count("forcefully sending unsent"), 2U);
  httpSendApp->Set(HttpSendApp::Delivered);
  Store(GetParam(), 2);
  httpSendApp->Confirm(httpSendApp->WaitForPacket(GetParam(), 0));
  WaitUntilUpdated(GetParam(), 2);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FastRoundsOfAKind, testing::ValuesIn(kAllKinds), NameOfKind);

TEST_F(FastRounds, AWanThatFlapsStopsTheDrainAndLosesNothing) {
  constexpr int kRecords = 6;
  Start(HttpSendApp::Silent);
  LetWait(kRecords);
  for (std::size_t record = 0; record < 2; ++record) {
    WanUp();
    for (const SourceKind kind : kAllKinds) {
      httpSendApp->WaitForPacket(kind, record);
    }
    WanDown();
    OpenSendGate();
    ASSERT_TRUE(Out().WaitFor(kWanIsDown, Out().End()));
    for (const SourceKind kind : kAllKinds) {
      const Packet packet = httpSendApp->WaitForPacket(kind, record);
      httpSendApp->Confirm(packet);
      WaitUntilUpdated(kind, packet.Number());
    }
    ASSERT_TRUE(Out().WaitForCount(kWanIsDown, 2, Out().End()));
    for (const SourceKind kind : kAllKinds) {
      EXPECT_EQ(RequestsSent(kind), Numbers(static_cast<int>(record) + 1)) << FactsOf(kind).name;
    }
  }
  httpSendApp->Set(HttpSendApp::Delivered);
  WanUp();
  ExpectDrained(kRecords);
}

// The record that was on its way goes out once more; no other one does.
TEST_F(FastRounds, ARestartInTheMiddleRepeatsTheRecordOnItsWayAlone) {
  constexpr int kRecords = 12;
  constexpr int kOnItsWay = 5;
  Start([](const Packet& packet) { return packet.Request() < kOnItsWay ? 1 : -1; });
  LetWait(kRecords);
  WanUp();
  for (const SourceKind kind : kAllKinds) {
    httpSendApp->WaitForPacket(kind, kOnItsWay - 1);
  }
  Terminate();
  httpSendApp->Set(HttpSendApp::Delivered);
  Start();
  OpenSendGate();
  std::vector<int> expected = Numbers(kRecords);
  expected.insert(expected.begin() + kOnItsWay, kOnItsWay);
  for (const SourceKind kind : kAllKinds) {
    WaitUntilUpdated(kind, kRecords);
    EXPECT_EQ(RequestsSent(kind), expected) << FactsOf(kind).name;
    EXPECT_EQ(ColumnOf(kind, "TxStatus"), std::vector<std::string>(kRecords, "1"));
  }
}

// Nobody publishes there. A second is the pause of rounds that do nothing, whatever the operator's.
TEST_F(FastRounds, AnIdleGatewayGoesRoundOnceASecond) {
  Start();
  OpenSendGate();
  WaitForForwardingRounds(1);
  EXPECT_EQ(Out().Count("Sleeping for 10 milliseconds"), 0U);
  EXPECT_GE(Out().Count("Sleeping for 1000 milliseconds"), 1U);
}

TEST_F(FastRounds, APauseOutOfRangeIsNamedAndChangesNothing) {
  config.Set(kGenericFile, "ForwardingRoundPauseInMilliSec", 5);
  Start();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(Err().Count("ForwardingRoundPauseInMilliSec is 5 in "), 1U);
  WaitForForwardingRounds(1);
  EXPECT_GE(Out().Count("Sleeping for 20 milliseconds"), 1U);
}

}  // namespace
}  // namespace datacollector::gateway
