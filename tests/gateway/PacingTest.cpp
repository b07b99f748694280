// When the next record of a kind may go out: the first one at once, an I/O kind's next one after a
// confirmation or when its time is up, a meter kind's on every round.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class PacingTest : public EachKind {
 protected:
  void SetUp() override {
    EachKind::SetUp();
    config.Only({GetParam()}).LoopInterval(10);
  }

  std::vector<int> RequestsSent() const {
    std::vector<int> requests;
    for (const Packet& packet : httpSendApp->Packets(GetParam())) {
      requests.push_back(packet.Request());
    }
    return requests;
  }

  // What the HTTP Send App would report for a stored record.
  void ConfirmRow(std::size_t index, int status) {
    const Row row = RowsOf(GetParam()).at(index);
    Deliver(FactsOf(GetParam()).statusTopic, "x," + row.at("RecordReadTime") + "," + row.at("RecordNumber") +
                                                 "," + std::to_string(status) + "," + kDeliveryTime);
  }

  // Printed by every confirmation that releases its kind.
  static constexpr const char* kReleased = "FlagSetTime = ";
};

class IoPacingTest : public PacingTest {};
class MeterPacingTest : public PacingTest {};

TEST_P(IoPacingTest, TheFirstRecordNeedsNoConfirmationAndTheSecondWaitsForIt) {
  Start(HttpSendApp::Silent);
  Store(GetParam(), 1);
  const Packet first = httpSendApp->WaitForPacket(GetParam(), 0);
  Store(GetParam(), 2);
  WaitForForwardingRounds(3);
  EXPECT_EQ(RequestsSent(), std::vector<int>{1});
  httpSendApp->Confirm(first);
  EXPECT_EQ(httpSendApp->WaitForPacket(GetParam(), 1).Request(), 2);
  EXPECT_EQ(Out().Count("forcefully sending unsent"), 0U);
}

TEST_P(IoPacingTest, AnUnconfirmedRecordIsSentAgainWhenItsTimeIsUp) {
  config.PublishInterval(GetParam(), 1);
  Start(HttpSendApp::Silent);
  Store(GetParam(), 1);
  for (std::size_t packet = 0; packet < 3; ++packet) {
    EXPECT_EQ(httpSendApp->WaitForPacket(GetParam(), packet).Request(), 1);
    OpenSendGate();
  }
  EXPECT_GE(Out().Count("forcefully sending unsent"), 2U);
}

TEST_P(IoPacingTest, AConfirmationForAnotherRecordMarksItAndReleasesNothing) {
  Start(HttpSendApp::Silent);
  StoreFrom(GetParam(), 1, 3);
  const Packet first = httpSendApp->WaitForPacket(GetParam(), 0);
  ASSERT_TRUE(Out().WaitFor(Fill(FactsOf(GetParam()).sent, {.number = 1})));
  ConfirmRow(2, 5);
  EXPECT_EQ(ColumnOf(GetParam(), "TxStatus"), (std::vector<std::string>{"0", "0", "5"}));
  WaitForForwardingRounds(3);
  EXPECT_EQ(RequestsSent(), std::vector<int>{1});
  httpSendApp->Confirm(first);
  EXPECT_EQ(httpSendApp->WaitForPacket(GetParam(), 1).Request(), 2);
}

TEST_P(IoPacingTest, AConfirmationWhileARetryIsPendingMarksTheRowAndReleasesNothing) {
  config.PublishInterval(GetParam(), 1);
  Start(HttpSendApp::Silent);
  StoreFrom(GetParam(), 1, 2);
  httpSendApp->WaitForPacket(GetParam(), 0);
  WanDown();
  OpenSendGate();
  ASSERT_TRUE(Out().WaitFor("WAN is down. "));
  ASSERT_TRUE(Out().WaitFor("gui8_SendDCDBRecordRetryFlags[" + std::string(kKindIndexWord.at(GetParam())) +
                            "] = 1\n"));
  const Transcript::Mark before = Out().End();
  ConfirmRow(0, 1);
  EXPECT_EQ(Out().Count("setting in data sent", before), 0U);
  EXPECT_EQ(ColumnOf(GetParam(), "TxStatus"), (std::vector<std::string>{"1", "0"}));
  // The retry takes the oldest record that is not sent by then.
  const std::size_t sent = RequestsSent().size();
  WanUp();
  EXPECT_EQ(httpSendApp->WaitForPacket(GetParam(), sent).Request(), 2);
}

INSTANTIATE_TEST_SUITE_P(Kinds, IoPacingTest, testing::Values(AIO, DIO, TEMPERATURE), NameOfKind);

TEST_P(MeterPacingTest, TheOldestUnsentRecordGoesOutOnEveryRoundThatTheGateIsOpen) {
  Start(HttpSendApp::Silent);
  Store(GetParam(), 1);
  httpSendApp->WaitForPacket(GetParam(), 0);
  Store(GetParam(), 2);
  httpSendApp->WaitForPacket(GetParam(), 1);
  OpenSendGate();
  httpSendApp->WaitForPacket(GetParam(), 2);
  EXPECT_EQ(RequestsSent(), (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(Out().Count("forcefully sending unsent"), 0U);
}

TEST_P(MeterPacingTest, AConfirmedRecordMakesRoomForTheNext) {
  Start(HttpSendApp::Silent);
  StoreFrom(GetParam(), 1, 3);
  httpSendApp->Set(HttpSendApp::Delivered);
  OpenSendGate();
  WaitUntilUpdated(GetParam(), 3);
  EXPECT_EQ(ColumnOf(GetParam(), "TxStatus"), (std::vector<std::string>{"1", "1", "1"}));
  EXPECT_EQ(RequestsSent().back(), 3);
}

TEST_P(MeterPacingTest, AConfirmationForAnotherRecordMarksItAndReleasesNothing) {
  Start(HttpSendApp::Silent);
  StoreFrom(GetParam(), 1, 2);
  httpSendApp->WaitForPacket(GetParam(), 0);
  ASSERT_TRUE(Out().WaitFor(Fill(FactsOf(GetParam()).sent, {.number = 1})));
  ConfirmRow(1, 5);
  EXPECT_EQ(ColumnOf(GetParam(), "TxStatus"), (std::vector<std::string>{"0", "5"}));
  EXPECT_EQ(Out().Count("Start Sending records #"), 0U);
  ConfirmRow(0, 5);
  EXPECT_EQ(Out().Count("Start Sending records #"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MeterPacingTest, testing::Values(RS485, RS232, SNMP), NameOfKind);

TEST_P(PacingTest, AConfirmationBeforeAnythingWasSentReleasesItsKind) {
  WanDown();
  Start(HttpSendApp::Silent);
  Store(GetParam(), 1);
  const Transcript::Mark before = Out().End();
  ConfirmRow(0, 1);
  EXPECT_GE(Out().Count(kReleased, before), 1U);
  EXPECT_EQ(ColumnOf(GetParam(), "TxStatus"), std::vector<std::string>{"1"});
}

TEST_P(PacingTest, WhenAllIsSentTheKindRestsUntilTheNextRecord) {
  Start();
  Store(GetParam(), 1);
  WaitUntilUpdated(GetParam(), 1);
  WaitForForwardingRounds(3);
  EXPECT_EQ(RequestsSent(), std::vector<int>{1});
  Store(GetParam(), 2);
  WaitUntilUpdated(GetParam(), 2);
  EXPECT_EQ(RequestsSent(), (std::vector<int>{1, 2}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, PacingTest, testing::ValuesIn(kAllKinds), NameOfKind);

class ReleaseTest : public Gateway {};

TEST_F(ReleaseTest, AHundredConfirmationsAtOnceReleaseAHundredRecords) {
  constexpr int kRecords = 34;  // of each of three kinds: a round of the forwarding thread takes a second
  config.Only({AIO, DIO, TEMPERATURE}).LoopInterval(1);
  WanDown();
  Start();
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    StoreFrom(kind, 1, kRecords);
  }
  WanUp();
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    ASSERT_TRUE(httpSendApp->WaitForPackets(kind, kRecords, std::chrono::seconds(80))) << FactsOf(kind).name;
    WaitUntilUpdated(kind, kRecords);
    const std::vector<Packet> packets = httpSendApp->Packets(kind);
    for (int i = 0; i < kRecords; ++i) {
      EXPECT_EQ(packets[static_cast<std::size_t>(i)].Request(), i + 1) << FactsOf(kind).name;
    }
    EXPECT_EQ(ColumnOf(kind, "TxStatus"), std::vector<std::string>(kRecords, "1"));
  }
  EXPECT_EQ(Out().Count("forcefully sending unsent"), 0U);
}

TEST_F(ReleaseTest, APacketThatIsRefusedIsTriedAgainOnTheNextRound) {
  config.Only({RS485}).LoopInterval(10).Set(kMqttFile, "HTTPSendPublishTopic4", "HTTPSend/+/Record");
  Start();
  Deliver(FactsOf(RS485).recordTopic, PayloadOf(RS485));
  const Transcript::Mark before = Out().End();
  ASSERT_TRUE(Err().WaitForCount("Error: Invalid input. Does your topic contain '+' or '#'?\n", 3));
  EXPECT_GE(Out().Count("Failure: mosquitto_client_publish\n"), 4U);
  EXPECT_EQ(Out().Count("published successfully"), 0U);
  EXPECT_EQ(Out().Count("Not Sending records", before), 0U);
}

TEST_F(ReleaseTest, AllKindsGoOutInOneRound) {
  config.LoopInterval(10);
  WanDown();
  Start(HttpSendApp::Silent);
  for (const SourceKind kind : kAllKinds) {
    Store(kind);
  }
  const Transcript::Mark before = Out().End();
  WanUp();
  const auto round = Out().WaitFor("############################## Publishing AIO record", before);
  ASSERT_TRUE(round);
  const auto last = Out().WaitFor(Fill(FactsOf(SNMP).sent, {.number = 1}), *round);
  ASSERT_TRUE(last);
  const std::string text = Out().Since(*round).substr(0, *last - *round);
  EXPECT_EQ(text.find("Publishing AIO record"), std::string::npos);
  for (const SourceKind kind : kAllKinds) {
    EXPECT_NE(text.find(Fill(FactsOf(kind).sent, {.number = 1})), std::string::npos) << FactsOf(kind).name;
  }
}

}  // namespace
}  // namespace datacollector::gateway
