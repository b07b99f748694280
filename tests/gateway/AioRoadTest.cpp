// The road of one analog record: what is stored, forwarded, marked, printed and logged on its way.
#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>

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

Texts operator+(Texts first, const Texts& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Texts ArrivalOf(const std::string& topic, const std::string& payload) {
  const std::string length = std::to_string(payload.size());
  return {"on_message_callback:\n",
          payload + "\n",
          "mid = <{}>\n",
          "topic = <" + topic + ">\n",
          "payload = <" + payload + ">\n",
          "payloadlen = <" + length + ">\n",
          "qos = <2>\n",
          "retain = <0>\n",
          "Copy the contents of a mosquitto message to another message\n",
          "Success: mosquitto_message_copy\n",
          "Mid = <{}>\n",
          "Topic = <" + topic + ">\n",
          "Payload = <" + payload + ">\n",
          "Payloadlen = <" + length + ">\n",
          "Qos = <2>\n",
          "Retain = <0>\n"};
}

const Texts kTail = {"Success: Current System TimeStamp = {}\n", "Publish Time Stamp Start: {}\n",
                     "Out of on msg call back \n"};

// Printed on every message, whoever it is for.
const Texts kLibraryTexts = {"Client mosqDataCollector/{}\n",
                             "DataCollectorMainStructure.DataCollectorSourcesConfig."
                             "i32_DataSourcesRS232EnableFlags[RS232Line1][0] : {}\n"};

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
  const std::string length = std::to_string(std::string(kPayload).size());
  EXPECT_TRUE(ComesAlone(
      Out().Since(before),
      ArrivalOf(kTopic, kPayload) +
          Texts{" \n",
                " ************************** Entered AIO On Message Call Back "
                "***********************************\n",
                "Success: Current minute = {}\n",
                "i8_ReadCurrentMinute = {}\n",
                "ui8_CurrentMinute = {}\n",
                "i8_AIORecord = |" + std::string(kPayload) + "|\n",
                "i8_AIORecord Length = <" + length + ">\n",
                "i8_TempPayload = |" + std::string(kPayload) + "|\n",
                "#####################################Need to Insert AIO Data. Stop Sending Data to HTTP "
                "server#########################################\n",
                "GPIO Toggle result : -1\n",
                "Success: Current System TimeStamp = {}\n",
                "DataCollectorMainStructure.DataCollectorDBData.i8_AIOReadTimeStamp = {}\n",
                "***************Writing AIO record in the AIO table\n",
                "\n",
                "\n",
                " ******************* DBWriteFlags.gui8_PeriodicRecordsWritten[AIO]=1 ******************* \n",
                "\n",
                "Connection to database '" + DatabaseOf(AIO) + "' is successfull\n",
                "LAST RECORD ID READ FROM TABLE 0\n",
                "INCREMENTED LAST RECORD ID READ FROM TABLE 1\n",
                "Concatenated Column String AIO = " + std::string(FactsOf(AIO).columns) + "\n",
                R"(i8_DatabaseBuf AIO: |"<","SITE01","GW0001",0,7,"ORU2_1.0.0",99,1,)" +
                    std::string(kPayload) + R"(,"{}",">"|)" + "\n",
                "total records = 0\n",
                "Record Number to be inserted = 1\n",
                "Records Stored in table 'AIO_table' successfully\n",
                "Record - 1 inserted successfully\n",
                "Returning SUCCESS from function 'WriteAIDCDBRecords'\n",
                "AIO DataBase written Successfully\n",
                "gui8_SendFirstCDBRecord[0] = 1\n",
                "Writing AIO Data in Database End#############################\n",
                "#####################################Insert AIO Data completed. Start Sending Data to HTTP "
                "server#########################################\n"} +
          kTail,
      idle, kLibraryTexts));
}

TEST_F(AioRoadTest, SendingARecordPrintsItsTextsInOrder) {
  Start(HttpSendApp::Silent);
  const Transcript::Mark before = Out().End();
  Store(AIO);
  httpSendApp->WaitForPacket(AIO, 0);
  ASSERT_TRUE(Out().WaitFor("AIDCDBRecord Number = 1, published successfully\n", before));
  WaitForForwardingRounds(0);
  EXPECT_TRUE(ComesInOrder(
      Out().Since(before),
      {"##############################Inside HTTP Thread, Sending records#############################\n",
       "CloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags : 0\n",
       "CloudConnectSendFlags.gui8_RS485FirstDCDBRecordSent : 0\n",
       "CloudConnectSendFlags.gui8_RS485SendDCDBRecordRetryFlags : 0\n",
       "CloudConnectSendFlags.gui8_RS485NoDCDBRecordsToPublish : 0\n",
       "networkstatus : 1\n",
       "#######################################WAN is UP , Start sending records#######################\n",
       "##############################Inside HTTP Thread, ui16_CustomerDataBaseReadWriteUpdateEnable = 0 "
       ",Sending records#############################\n",
       "############################## Publishing AIO record #############################\n",
       "Wan is up, sending records to backend server..\n",
       "reading the records from table which are not sent\n",
       "Connection to database '" + DatabaseOf(AIO) + "' is successfull\n",
       "AIDBRecord number 1 publishing",
       "mosquitto_client_publish: cfg->status == STATUS_CONNACK_RECVD\n",
       "Success: mosquitto_client_publish\n",
       "Success: mosquitto_client_publish\n",
       "AIDBRecord number 1 published successfully",
       "Success: ReadAIDCDBRecordAndPublish\n",
       "f64_SendAIDCDBRecordFlagSetTime = {}, gf64_SendAIDCDBRecordFlagSetTime = {}\n",
       "clock_gettime() successful\n",
       "CurrentTime sec = {},  nsec = {} \n",
       "gui32_LastCDBRecordSentTime[AIO] = {}\n",
       "Success: SendUnsentAIDCDBRecords\n",
       "AIDCDBRecord Number = 1, published successfully\n",
       "############################## Publishing DIO record #############################\n",
       "############################## Publishing RS485 record #############################\n",
       "############################## Publishing Temperature record #############################\n",
       "############################## Publishing RS232 record #############################\n",
       "############################## Publishing SNMP record #############################\n"}));
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

  const std::string update = "DataCollectorMainStructure.DataCollectorDBUpdate.DataCollectorAIODBUpdate.";
  const std::string confirmation = HttpSendApp::Confirmation(packet, 4);
  const Transcript::Mark before = Out().End();
  Deliver(FactsOf(AIO).statusTopic, confirmation);
  EXPECT_TRUE(ComesAlone(
      Out().Since(before),
      ArrivalOf(FactsOf(AIO).statusTopic, confirmation) +
          Texts{"\n", "\n",
                " ******************* Update record for AIO received from HTTP Send App **************** \n",
                "parsed payload = |" + confirmation + "|\n", "AIO Copied temp = {}\n",
                update + "i8_RecordReadTimeStamp = " + packet.ReadTime() + "\n",
                update + "i32_RecordNum = 1\n", update + "i32_TxStatus = 4\n",
                update + "i8_TxTimeStamp = " + kDeliveryTime + "\n", "status to be updated->4<-\n",
                "Updating Record 1 to table AIO_table is successfull\n",
                "Success: UpdateAIDBRecord, record updated, RecordNumber = 1, TxStatus and TxTimestamp \n",
                "gi32_LastSentDCDBRecordNum[AIO] = 1, psDataCollectorMainStructure->DataCollectorDBUpdate."
                "DataCollectorAIODBUpdate.i32_RecordNum = 1, "
                "CloudConnectSendFlags.gui8_SendDCDBRecordRetryFlags[AIO] = 0\n",
                "setting in data sent, CloudConnectSendFlags.gui8_SendDCDBRecordFlags[AIO] = 1\n",
                "clock_gettime() successful\n", "CurrentTime sec = {},  nsec = {} \n",
                "gf64_SendAIDCDBRecordFlagSetTime = {}\n"} +
          kTail,
      idle, kLibraryTexts + Texts{"WAN is down. \n"}));
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

TEST_F(AioRoadTest, NothingGoesToStandardError) {
  Start();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  Terminate();
  // The configuration's own notes end where the client has been initialised.
  EXPECT_EQ(Err().Count("Error"), 0U) << Err().All();
  EXPECT_EQ(Err().Count("Failure"), 0U) << Err().All();
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
