// The road of one analog record: what is stored, forwarded, marked, printed and logged on its way.
#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

constexpr const char* kTopic = "IOModule/AIO/Record";
constexpr const char* kPayload = R"("<","M417",0,7,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")";

class AioRoadTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO});
  }

  // What an idle daemon prints, over rounds of both loops.
  IdleVocabulary Idle() {
    const Transcript::Mark before = Out().End();
    WaitForForwardingRounds(1);
    WaitForLoopRounds(1);
    return IdleVocabulary(Out().Since(before));
  }
};

Texts Joined(const std::vector<Texts>& sequences) {
  Texts all;
  for (const Texts& texts : sequences) {
    all.insert(all.end(), texts.begin(), texts.end());
  }
  return all;
}

// What the daemon prints of a message that it handles as `section` says.
Texts MessageTexts(const std::string& section, const std::string& topic, const std::string& payload,
                   const std::string& readTime = "") {
  const std::map<std::string, std::string> values = {{"topic", topic},
                                                     {"payload", payload},
                                                     {"length", std::to_string(payload.size())},
                                                     {"database", DatabaseOf(AIO)},
                                                     {"columns", FactsOf(AIO).columns},
                                                     {"time", readTime}};
  return Joined({GoldenTexts("AioRoad", "arrival", values), GoldenTexts("AioRoad", section, values),
                 GoldenTexts("AioRoad", "end", values)});
}

// Printed on every message, whoever it is for.
const Texts kEveryMessage = {"Client mosqDataCollector/{}\n",
                             "DataCollectorMainStructure.DataCollectorSourcesConfig.i32_"
                             "DataSourcesRS232EnableFlags[RS232Line1][0] : 0\n"};

// Printed by the main loop when it comes by while a record is being stored.
const Texts kWindowOpens = {
    " *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[AIO]=1 ******** \n"};

TEST_F(AioRoadTest, ARecordIsStoredForwardedAndMarked) {
  Start(HttpSendApp::Silent);
  Store(AIO);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  const Placeholders values = {.request = 7, .number = 1, .time = packet.ReadTime()};
  EXPECT_EQ(packet.text, Fill(FactsOf(AIO).packet, values));
  Row row = RowOf(AIO, values);
  EXPECT_EQ(RowsOf(AIO), std::vector<Row>{row});

  httpSendApp->Confirm(packet, 1);
  WaitUntilUpdated(AIO, 1);
  row["TxStatus"] = "1";
  row["TxStatusTime"] = kDeliveryTime;
  EXPECT_EQ(RowsOf(AIO), std::vector<Row>{row});
}

TEST_F(AioRoadTest, StoringARecordPrintsItsTextsInOrderAndNothingElse) {
  WanDown();
  Start();
  OpenSendGate();
  ASSERT_TRUE(Out().WaitForCount("WAN is down. ", 2));
  const Transcript::Mark idleFrom = Out().End();
  ASSERT_TRUE(Out().WaitFor("WAN is down. ", idleFrom));
  WaitForLoopRounds(1);
  const IdleVocabulary idle(Out().Since(idleFrom));

  const Transcript::Mark before = Out().End();
  Deliver(kTopic, kPayload);
  EXPECT_TRUE(ComesAlone(Out().Since(before), MessageTexts("stored", kTopic, kPayload), idle,
                         Joined({kEveryMessage, kWindowOpens})));
}

TEST_F(AioRoadTest, SendingARecordPrintsItsTextsInOrder) {
  Start(HttpSendApp::Silent);
  const Transcript::Mark before = Out().End();
  Store(AIO);
  httpSendApp->WaitForPacket(AIO, 0);
  ASSERT_TRUE(Out().WaitFor("AIDCDBRecord Number = 1, published successfully\n", before));
  WaitForForwardingRounds(0);
  EXPECT_TRUE(
      ComesInOrder(Out().Since(before), GoldenTexts("AioRoad", "sent", {{"database", DatabaseOf(AIO)}})));
}

TEST_F(AioRoadTest, AConfirmationPrintsItsTextsInOrderAndNothingElse) {
  Start(HttpSendApp::Silent);
  Store(AIO);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  ASSERT_TRUE(Out().WaitFor("AIDCDBRecord Number = 1, published successfully\n"));
  // The packet's own handshake ends before the daemon is idle.
  ASSERT_TRUE(Out().WaitFor("on_publish_callback:mid = "));
  const IdleVocabulary idle = Idle();
  WanDown();
  const Transcript::Mark down = Out().End();
  ASSERT_TRUE(Out().WaitForCount("WAN is down. ", 1, down));

  const std::string confirmation = HttpSendApp::Confirmation(packet, 4);
  const Transcript::Mark before = Out().End();
  Deliver(FactsOf(AIO).statusTopic, confirmation);
  EXPECT_TRUE(ComesAlone(Out().Since(before),
                         MessageTexts("confirmed", FactsOf(AIO).statusTopic, confirmation, packet.ReadTime()),
                         idle, Joined({kEveryMessage, {"WAN is down. \n"}})));
}

TEST_F(AioRoadTest, TheLogTellsOfThePublishAndOfNothingElse) {
  Start(HttpSendApp::Silent);
  const std::size_t before = LogFile::Messages().size();
  Store(AIO);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  httpSendApp->Confirm(packet);
  WaitUntilUpdated(AIO, 1);
  WaitForForwardingRounds(1);
  const std::vector<std::string> messages = LogFile::Messages();
  EXPECT_EQ(std::vector<std::string>(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end()),
            (std::vector<std::string>{
                "mosquitto_client_publish msg : " + packet.text + " to topic HTTPSend/AIO/Record", "",
                "mosquitto_client_publish retry count : 0", ""}));
}

TEST_F(AioRoadTest, StandardErrorHoldsTheNotesOfTheConfigurationAndOfTheDatabasesAndNothingElse) {
  Start();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  Terminate();
  const std::vector<std::string> lines = Err().LastLines(12);
  ASSERT_GE(lines.size(), 4U) << Err().All();
  EXPECT_EQ(lines[0], "Returning Success from function ParseContentFromConfig");
  EXPECT_TRUE(lines[1].starts_with("DataCollector " DATACOLLECTOR_VERSION ", configuration ")) << lines[1];
  EXPECT_TRUE(lines[2].starts_with("SubscribeTopic18 ")) << lines[2];
  EXPECT_TRUE(lines[3].starts_with("SubscribeTopic19 ")) << lines[3];
  for (std::size_t line = 4; line < lines.size(); ++line) {
    EXPECT_TRUE(lines[line].ends_with(" database: write-ahead log")) << lines[line];
  }
  EXPECT_EQ(Err().Count("AIO database: write-ahead log\n"), 1U);
}

TEST_F(AioRoadTest, TwoEqualRecordsAreTwoRows) {
  Start(HttpSendApp::Silent);
  Store(AIO, 7);
  Store(AIO, 7);
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), (std::vector<std::string>{"1", "2"}));
}

TEST_F(AioRoadTest, APayloadWithFewerThanFourFieldsHasRequestIdZero) {
  Start(HttpSendApp::Silent);
  Deliver(kTopic, "1,2,3");
  EXPECT_EQ(Out().Count(R"(i8_DatabaseBuf AIO: |"<","SITE01","GW0001",0,0,"ORU2_1.0.0",99,1,1,2,3,)"), 1U);
}

TEST_F(AioRoadTest, ReadTimesAreEpochSecondsWhereTheyAreConfiguredSo) {
  config.Set(kGenericFile, "DCDBReadTimeStampInSecSinceEpoch", 1);
  const std::time_t before = std::time(nullptr);
  Start();
  Store(AIO);
  const Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  const std::time_t readTime = std::stol(packet.ReadTime());
  EXPECT_LE(before, readTime);
  EXPECT_LE(readTime, std::time(nullptr));
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(ColumnOf(AIO, "TxStatus"), std::vector<std::string>{"1"});
}

TEST_F(AioRoadTest, AMessageOnATopicThatOnlyAWildcardCoversIsNotStored) {
  config.SubscribeTopic(1, "IOModule/+/Record");
  Start();
  Deliver("IOModule/AIO/Record", kPayload);
  EXPECT_EQ(Out().Count("Entered AIO On Message Call Back"), 0U);
  EXPECT_TRUE(RowsOf(AIO).empty());
}

}  // namespace
}  // namespace datacollector::gateway
