// Each kind's example record on its whole road: row, packet, confirmation, texts; and which topic means what.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

class KindTest : public EachKind {
 protected:
  void SetUp() override {
    EachKind::SetUp();
    config.Only({GetParam()}).LoopInterval(20);
  }
};

TEST_P(KindTest, TheExampleRecordIsStoredForwardedAndMarked) {
  const SourceKind kind = GetParam();
  Start(HttpSendApp::Silent);
  Store(kind);
  const Packet packet = httpSendApp->WaitForPacket(kind, 0);
  const Placeholders values = {.request = 7, .number = 1, .time = packet.ReadTime()};
  EXPECT_EQ(packet.text, Fill(FactsOf(kind).packet, values));
  Row row = RowOf(kind, values);
  EXPECT_EQ(RowsOf(kind), std::vector<Row>{row});

  httpSendApp->Confirm(packet, 3);
  WaitUntilUpdated(kind, 1);
  row["TxStatus"] = "3";
  row["TxStatusTime"] = kDeliveryTime;
  EXPECT_EQ(RowsOf(kind), std::vector<Row>{row});
}

TEST_P(KindTest, StoringSendingAndConfirmingPrintTheKindsTexts) {
  const SourceKind kind = GetParam();
  Start(HttpSendApp::Silent);
  const Transcript::Mark before = Out().End();
  Store(kind);
  const Packet packet = httpSendApp->WaitForPacket(kind, 0);
  ASSERT_TRUE(Out().WaitFor(Fill(FactsOf(kind).sent, {.number = 1}), before));
  ASSERT_TRUE(
      Out().WaitFor("############################## Publishing SNMP record "
                    "#############################\n",
                    before));
  const Transcript::Mark sent = Out().End();
  httpSendApp->Confirm(packet, 1);
  WaitUntilUpdated(kind, 1);
  ASSERT_TRUE(Out().WaitFor("Out of on msg call back \n", sent));

  const std::string transcript = Out().Since(before);
  EXPECT_TRUE(ComesInOrder(transcript, GoldenTexts(FactsOf(kind).name, "stored")));
  EXPECT_TRUE(ComesInOrder(transcript, GoldenTexts(FactsOf(kind).name, "sent")));
  EXPECT_TRUE(ComesInOrder(Out().Since(sent), GoldenTexts(FactsOf(kind).name, "confirmed")));
}

INSTANTIATE_TEST_SUITE_P(Kinds, KindTest, testing::ValuesIn(kAllKinds), NameOfKind);

class TopicTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
    WanDown();
  }
};

TEST_F(TopicTest, TheNumberOfATopicDecidesAndNotItsText) {
  config.SubscribeTopic(1, "IOModule/DIO/Record").SubscribeTopic(2, "IOModule/AIO/Record");
  Start();
  Deliver("IOModule/AIO/Record", PayloadOf(DIO));
  EXPECT_EQ(RowsOf(DIO).size(), 1U);
  EXPECT_TRUE(RowsOf(AIO).empty());
}

TEST_F(TopicTest, ATopicThatTwoKindsShareIsStoredForBoth) {
  config.SubscribeTopic(2, "IOModule/AIO/Record");
  Start();
  Deliver("IOModule/AIO/Record", PayloadOf(AIO));
  EXPECT_EQ(RowsOf(AIO).size(), 1U);
  EXPECT_EQ(RowsOf(DIO).size(), 1U);
}

TEST_F(TopicTest, BothTemperatureTopicsStoreTemperatureRecords) {
  Start();
  Deliver("IOModule/Temperature/Record", PayloadOf(TEMPERATURE, 1));
  Deliver("IOModule/Temperature/Alarm", PayloadOf(TEMPERATURE, 2));
  EXPECT_EQ(ColumnOf(TEMPERATURE, "RequestID"), (std::vector<std::string>{"1", "2"}));
}

TEST_F(TopicTest, TheFirstTemperatureTopicIsAnRs485TopicToo) {
  config.Set(FactsOf(TEMPERATURE).controlFile, "TemperatureRecordNumber", "RecordNumber")
      .Set(FactsOf(DIO).controlFile, "TemperatureMaxDatabaseAccessRetry", 1);
  Start();
  const Transcript::Mark before = Out().End();
  Deliver("IOModule/Temperature/Alarm", PayloadOf(RS485));
  EXPECT_TRUE(ComesInOrder(
      Out().Since(before),
      {" ************************** Entered TEMPERATURE On Message Call Back "
       "***********************************\n",
       "Failure: Fail to write TEMPERATURE Database\n",
       " ************************** Entered RS485 On Message Call Back ***********************************\n",
       "Success: EMeter RS485 Line 1 Database Written Successfully\n"}));
  EXPECT_EQ(RowsOf(RS485).size(), 1U);
  EXPECT_TRUE(RowsOf(TEMPERATURE).empty());

  Deliver("IOModule/Temperature/Alarm", PayloadOf(TEMPERATURE));
  EXPECT_EQ(RowsOf(RS485).size(), 1U);
  EXPECT_EQ(RowsOf(TEMPERATURE).size(), 1U);
}

TEST_F(TopicTest, TheSecondRs485LineHasTextsOfItsOwn) {
  Start();
  std::string payload = PayloadOf(RS485);
  payload.replace(payload.find(",7,1,1,"), 7, ",7,2,1,");
  const Transcript::Mark before = Out().End();
  Deliver("EnergyMeter/RS485/Record", payload);
  EXPECT_TRUE(
      ComesInOrder(Out().Since(before),
                   {"Parsed i32_RS485LineID : 2\n", "Inside if i32_RS485LineID2\n",
                    "RecordFlags.gui8_RS485RecordsFlag[0][RS485Line2]=1\n",
                    "Writing RS485 Line 2 meter Data in Database Start#############################\n",
                    "Success: EMeter RS485 Line 2 Database Written Successfully\n"}));
  EXPECT_EQ(ColumnOf(RS485, "InterfaceID"), std::vector<std::string>{"2"});
}

TEST_F(TopicTest, ARecordOfADisabledKindIsIgnored) {
  config.Only({DIO});
  Start();
  for (const SourceKind kind : kAllKinds) {
    Deliver(FactsOf(kind).recordTopic, PayloadOf(kind));
    EXPECT_EQ(RowsOf(kind).size(), kind == DIO ? 1U : 0U) << FactsOf(kind).name;
  }
}

}  // namespace
}  // namespace datacollector::gateway
