// Each kind's example record on its whole road: row, packet, confirmation, texts; and which topic means what.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

struct KindTexts {
  Texts stored;
  Texts sent;
  Texts confirmed;
};

// Texts that are a kind's own, beside those that all kinds share.
const std::array<KindTexts, kSourceKinds> kTexts = {{
    {.stored = {" ************************** Entered AIO On Message Call Back "
                "***********************************\n",
                "#####################################Need to Insert AIO Data. Stop Sending Data to HTTP "
                "server#########################################\n",
                "GPIO Toggle result : -1\n", "***************Writing AIO record in the AIO table\n",
                "Returning SUCCESS from function 'WriteAIDCDBRecords'\n",
                "AIO DataBase written Successfully\n", "gui8_SendFirstCDBRecord[0] = 1\n",
                "Writing AIO Data in Database End#############################\n"},
     .sent = {"############################## Publishing AIO record #############################\n",
              "Wan is up, sending records to backend server..\n", "AIDBRecord number 1 publishing",
              "gui32_LastCDBRecordSentTime[AIO] = {}\n", "Success: SendUnsentAIDCDBRecords\n"},
     .confirmed = {" ******************* Update record for AIO received from HTTP Send App **************** "
                   "\n",
                   "gf64_SendAIDCDBRecordFlagSetTime = {}\n"}},
    {.stored = {" ************************** Entered DIO On Message Call Back "
                "***********************************\n",
                "#####################################Need to Insert DIO Data. Stop Sending Data to HTTP "
                "server#########################################\n",
                "GPIO Toggle result : -1\n", "***************Writing DIO record in the DIO table\n",
                "Returning SUCCESS from function 'WriteDIODCDBRecords'\n",
                "DIO DataBase written Successfully\n", "gui8_SendFirstCDBRecord[1] = 1\n",
                "Writing DIO Data in Database End#############################\n",
                "#####################################Insert DIO Data completed. Start Sending Data to HTTP "
                "server#########################################\n",
                "GPIO Toggle result : -1\n"},
     .sent = {"############################## Publishing DIO record #############################\n",
              " SendDIODCDBRecord started\n", "Wan is up, sending DIO records to backend server..\n",
              "gui32_LastCDBRecordSentTime[DIO] = {}\n", "Success: SendUnsentAIDCDBRecords\n"},
     .confirmed = {" ******************* Update record for DIO received from HTTP Send App **************** "
                   "\n",
                   "############################DIO record updated with status.Ready to send next DIO "
                   "record.#################################\n"}},
    {.stored = {" ************************** Entered TEMPERATURE On Message Call Back "
                "***********************************\n",
                "***************Writing TEMPERATURE record in the Temperature table\n",
                "Returning SUCCESS from function 'WriteTemperatureDCDBRecords'\n",
                "Temperature DataBase written Successfully\n", "gui8_SendFirstCDBRecord[2] = 1\n"},
     .sent = {"############################## Publishing Temperature record #############################\n",
              " SendTemperatureDCDBRecord started\n",
              "Wan is up, sending Temperature records to backend server..\n",
              "gui32_LastCDBRecordSentTime[TEMPERATURE] = {}\n",
              "Success: SendUnsentTemperatureDCDBRecords\n"},
     .confirmed = {"############################Temperature record updated with status.Ready to send next "
                   "Temeprature record.#################################\n"}},
    {.stored = {" ************************** Entered RS485 On Message Call Back "
                "***********************************\n",
                "#####################################Need to Insert Data. Stop Sending Data to HTTP "
                "server#########################################\n",
                "Parsed Meter Index : 1\n", "Parsed i32_RS485LineID : 1\n", "Before if i32_RS485LineID \n",
                "Inside if i32_RS485LineID1 \n", "RecordFlags.gui8_RS485RecordsFlag[0][RS485Line1]=1\n",
                "Writing RS485 Line 1 meter Data in Database Start#############################\n",
                "Returning SUCCESS from function 'WriteRS485DCDBRecords'\n",
                "Success: EMeter RS485 Line 1 Database Written Successfully\n",
                "Writing meter Data in Database End#############################\n",
                "#####################################Insert Data completed. Start Sending Data to HTTP "
                "server#########################################\n",
                "Out of RS 485 Subscription\n"},
     .sent = {"############################## Publishing RS485 record #############################\n",
              "############################# Start : Reading record to publish to Server. Publish GPIO ON "
              "#################################\n",
              "Success: ReadRS485DCDBRecordAndPublish : 1\n",
              "CloudConnectSendFlags.gui32_RS485LastDCDBRecordSentTime = {}\n",
              "Success: SendUnsentRS485DCDBRecords\n",
              "############################# End : Reading record to publish to Server. Publish GPIO OFF "
              "#################################\n",
              "GPIO Toggle result : -1\n"},
     .confirmed =
         {"################################### Update the Database with current Status. Stop Sending "
          "to Server ################################################\n",
          "#############################Start : Update Record.Publish data GPIO ON "
          "#################################\n",
          "GPIO Toggle result : 0\n", "gf64_SendDIODCDBRecordFlagSetTime = {}\n",
          " ###################### Record Updated. Start Sending records "
          "#########################\n",
          "#############################End : Update Record.Publish data GPIO OFF "
          "#################################\n"}},
    {.stored =
         {"RS232 Enabled\n", "Parsed RS232 Meter Index : 1\n", "Inside if i32_RS232LineID \n",
          "SiteID : SITE01\n", "DeviceID : GW0001\n",
          "Returning SUCCESS from function 'WriteRS232DCDBRecords'\n",
          "Success: EMeter RS232 Database Written Successfully\n",
          "#####################################RS232 Insert Data completed. Start Sending Data to HTTP "
          "server#########################################\n",
          "Out of RS 232 Subscription\n"},
     .sent = {"############################## Publishing RS232 record #############################\n",
              "############################# Start : Reading RS232 record to publish to "
              "Server.#################################\n",
              "Success: ReadRS232DCDBRecordAndPublish : 1\n", "Success: SendUnsentRS232DCDBRecords\n",
              "############################# End : Reading RS232 record to publish to "
              "Server.#################################\n"},
     .confirmed = {"################################### Update the RS232 Database with current Status. Stop "
                   "Sending to Server ################################################\n",
                   "#############################Start : Update RS232 Record "
                   "#################################\n",
                   " ###################### RS232 Record Updated. Start Sending records "
                   "#########################\n",
                   "#############################End : Update Record. #################################\n"}},
    {.stored = {"Parsed Meter Index : 1\n", "Inside if i32_SNMPLineID1 \n",
                "Returning SUCCESS from function 'WriteSNMPDCDBRecords'\n",
                "Success: EMeter SNMP Line 1 Database Written Successfully\n", "Out of SNMP Subscription\n"},
     .sent = {"############################## Publishing SNMP record #############################\n",
              "############################# Start : Reading SNMP record to publish to "
              "Server.#################################\n",
              "Success: ReadSNMPDCDBRecordAndPublish : 1\n", "Success: SendUnsentSNMPDCDBRecords\n",
              "############################# End : Reading SNMP record to publish to "
              "Server.#################################\n"},
     .confirmed = {"################################### Update the SNMP Database with current Status. Stop "
                   "Sending to Server ################################################\n",
                   "#############################Start : Update SNMP Record "
                   "#################################\n",
                   " ###################### SNMP Record Updated. Start Sending records "
                   "#########################\n",
                   "#############################End : Update Record. #################################\n"}},
}};

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
  EXPECT_TRUE(ComesInOrder(transcript, kTexts.at(kind).stored));
  EXPECT_TRUE(ComesInOrder(transcript, kTexts.at(kind).sent));
  EXPECT_TRUE(ComesInOrder(Out().Since(sent), kTexts.at(kind).confirmed));
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
