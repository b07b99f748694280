// Storing of the records of AIO, DIO and TEMPERATURE.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <regex>
#include <string>
#include <thread>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/Ingestion.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// How a kind shows itself.
struct IoWords {
  std::string capital;  // in the texts about the table's kind
  std::string word;     // in the other texts
  std::string writer;
  std::size_t recordEntry;
  std::size_t alarmEntry;  // by which an alarm record comes in
};

const std::array<IoWords, kIoKinds> kWords = {{
    {"AIO", "AIO", "WriteAIDCDBRecords", 0, 3},
    {"DIO", "DIO", "WriteDIODCDBRecords", 1, 2},
    {"TEMPERATURE", "Temperature", "WriteTemperatureDCDBRecords", 6, 5},
}};

class IoIngestion : public ExampleGateway {
 protected:
  static std::string Ingest(std::size_t entry, std::string_view payload) {
    CapturedOutput output;
    IngestIoRecord({SubscribeTopic(entry), payload});
    errors_ = output.Err();
    return std::regex_replace(Folded(output.Out()),
                              std::regex("i8_ReadCurrentMinute = [0-9]{2}\nui8_CurrentMinute = [0-9]{1,2}\n"),
                              "<minute>\n");
  }
  static std::string Ingest(std::size_t entry, SourceKind kind) {
    return Ingest(entry, kExamplePayloads[kind]);
  }

  // One attempt at each statement, without a wait.
  static void FailAtOnce(SourceKind kind) {
    gMainState.DataCollectorDBConfig[kind].ui16_MaxDatabaseAccessRetry = 1;
  }

  static inline std::string errors_;
};

class EachIoKind : public IoIngestion, public ::testing::WithParamInterface<SourceKind> {
 protected:
  EachIoKind() { MakeTable(kind_); }

  std::string Ingest() const { return IoIngestion::Ingest(words_.recordEntry, kind_); }

  // The texts of a record up to the write.
  std::string Arrival(bool alarm) const {
    const std::string payload = kExamplePayloads[kind_];
    const std::string& word = words_.word;
    std::string text = " \n ************************** Entered " + words_.capital +
                       " On Message Call Back ***********************************\n";
    if (alarm) {
      text += word + " alarm record received. Setting " + word + " alarm flag\n";
    }
    text += "<GetMinutes>\n<minute>\n";
    text += "i8_" + word + "Record = |" + payload + "|\n";
    text += "i8_" + word + "Record Length = <" + std::to_string(payload.size()) + ">\n";
    text += "i8_TempPayload = |" + payload + "|\n";
    text += "#####################################Need to Insert " + word +
            " Data. Stop Sending Data to HTTP server#########################################\n";
    if (kind_ != TEMPERATURE) {
      text += "GPIO Toggle result : -1\n";
    }
    text += "<GetTimeStamp>\nDataCollectorMainStructure.DataCollectorDBData.i8_" + word +
            "ReadTimeStamp = " + gMainState.DataCollectorDBData.i8_ReadTimeStamp[kind_].c_str() + "\n";
    text += "***************Writing " + words_.capital + " record in the " + word + " table\n";
    text += "\n\n ******************* DBWriteFlags.gui8_PeriodicRecordsWritten[" + words_.capital +
            "]=1 ******************* \n\n";
    return text + "<" + words_.writer + ">\n";
  }

  // The texts of a record behind the write.
  std::string Departure() const {
    std::string text = "Writing " + words_.word + " Data in Database End#############################\n" +
                       "#####################################Insert " + words_.word +
                       " Data completed. Start Sending Data to HTTP "
                       "server#########################################\n";
    if (kind_ == DIO) {
      text += "GPIO Toggle result : -1\n";
    }
    return text;
  }

  static std::string Resets() {
    const std::string end = "FILE:RequestIds.cpp:LINE:N:FUNCTION:ResetReqId:END\n";
    return end + end;
  }
  std::string Stored() const { return words_.word + " DataBase written Successfully\n"; }

  const SourceKind kind_ = GetParam();
  const IoWords& words_ = kWords[kind_];
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
};

TEST_P(EachIoKind, ARecordPrintsItsTextsInOrderAndNothingElse) {
  const std::string out = Ingest();
  EXPECT_EQ(out, Arrival(false) + Stored() + "gui8_SendFirstCDBRecord[" + std::to_string(kind_) + "] = 1\n" +
                     Resets() + Departure());
  EXPECT_EQ(errors_, "");
}

TEST_P(EachIoKind, ARecordIsStoredAndWanted) {
  gi32_HTTPThreadSendFlag = 0;
  flags_.gui8_NoDCDBRecordsToPublish = 1;
  Ingest();
  EXPECT_EQ(RowsOf(kind_).size(), 1U);
  EXPECT_EQ(RecordFlags.At(kind_), 0);
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 0);
  EXPECT_EQ(flags_.gui8_SendFirstCDBRecord, 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 1);
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_P(EachIoKind, TwoEqualRecordsAreTwoRows) {
  Ingest();
  Ingest();
  EXPECT_EQ(RowsOf(kind_).size(), 2U);
}

TEST_P(EachIoKind, TheFourthFieldIsTheRequestId) {
  Ingest();
  EXPECT_EQ(gMainState.i32_ParsedReqId[kind_], 7);
  EXPECT_EQ(RowsOf(kind_).at(0).at("RequestID"), "7");
}

TEST_P(EachIoKind, WithoutAFourthFieldTheRequestIdIsZeroAndNotThatOfTheLastRecord) {
  FailAtOnce(kind_);
  Ingest();
  IoIngestion::Ingest(words_.recordEntry, "1,2,3");
  EXPECT_EQ(gMainState.i32_ParsedReqId[kind_], 0);
  EXPECT_STREQ(gMainState.DataCollectorDBData.i8_IoRecord[kind_].c_str(), "1,2,3");
}

TEST_P(EachIoKind, ClosesTheKindsWindowsWhetherTheyAreOpenOrNot) {
  PeriodicWindow& window = DBWriteFlags.At(kind_);
  Ingest();
  EXPECT_EQ(window.gui8_PeriodicRecordsWritten, 1);
  window.gui8_PeriodicRecordsWritten = 0;
  window.gui8_WriteRecordsWithinPeriodicMinute = 1;
  window.gui8_WriteRecordsAfterPeriodicMinute = 1;
  window.gui8_WriteRecordsDue = 1;
  window.gui8_WriteRecordsRequested = 1;
  Ingest();
  EXPECT_EQ(window.gui8_PeriodicRecordsWritten, 1);
  EXPECT_EQ(window.gui8_WriteRecordsWithinPeriodicMinute, 0);
  EXPECT_EQ(window.gui8_WriteRecordsAfterPeriodicMinute, 0);
  EXPECT_EQ(window.gui8_WriteRecordsDue, 1);
  EXPECT_EQ(window.gui8_WriteRecordsRequested, 1);
}

TEST_P(EachIoKind, AWriteThatFailsIsToldAndLeavesTheRecordFlag) {
  FailAtOnce(kind_);
  RunSql(DatabaseOf(kind_), "DROP TABLE " + TableOf(kind_));
  const std::string out = Ingest();
  EXPECT_EQ(out, Arrival(false) + "Failure: Fail to write " + words_.capital + " Database\n" + Departure());
  EXPECT_EQ(RecordFlags.At(kind_), 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(flags_.gui8_SendFirstCDBRecord, 0);
  EXPECT_EQ(DBWriteFlags.At(kind_).gui8_PeriodicRecordsWritten, 1);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_P(EachIoKind, OnlyASuccessfulWriteWrapsTheRequestCounter) {
  FailAtOnce(kind_);
  gMainState.ui16_MaxAppDataReqId = 10;
  AppDataReqFlags.At(kind_).gi32_ReqId = 11;
  IoIngestion::Ingest(words_.recordEntry, "no literals");
  EXPECT_EQ(AppDataReqFlags.At(kind_).gi32_ReqId, 11);
  Ingest();
  EXPECT_EQ(AppDataReqFlags.At(kind_).gi32_ReqId, 0);
}

TEST_P(EachIoKind, AnAlarmRecordIsStoredLikeAnyOtherWithItsType) {
  if (kind_ == TEMPERATURE) {
    ASSERT_STREQ(SubscribeTopic(15), SubscribeTopic(words_.alarmEntry));
  }
  const std::string out = IoIngestion::Ingest(words_.alarmEntry, kind_);
  EXPECT_EQ(out, Arrival(true) + Stored() + "gui8_SendFirstCDBRecord[" + std::to_string(kind_) + "] = 1\n" +
                     Resets() + Departure());
  EXPECT_EQ(RowsOf(kind_).at(0).at("RecordType"), "2");
  EXPECT_EQ(gMainState.i32_AlarmFlag[kind_], 0);
  Ingest();
  EXPECT_EQ(RowsOf(kind_).at(1).at("RecordType"), "0");
}

TEST_P(EachIoKind, AnAlarmOfADisabledKindLeavesNoAlarmFlag) {
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesEnableFlags[kind_][0] = 0;
  EXPECT_EQ(IoIngestion::Ingest(words_.alarmEntry, kind_), "");
  EXPECT_EQ(gMainState.i32_AlarmFlag[kind_], 0);
  EXPECT_EQ(RowsOf(kind_).size(), 0U);
}

TEST_P(EachIoKind, WhileTheCustomerHasTheDatabasesItIsStoredAndNotWanted) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  gMainState.ui16_MaxAppDataReqId = 10;
  AppDataReqFlags.At(kind_).gi32_ReqId = 11;
  flags_.gui8_NoDCDBRecordsToPublish = 1;
  const std::string out = Ingest();
  EXPECT_EQ(out, Arrival(false) + Stored() + Resets() + Departure());
  EXPECT_EQ(RowsOf(kind_).size(), 1U);
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(flags_.gui8_SendFirstCDBRecord, 0);
  EXPECT_EQ(AppDataReqFlags.At(kind_).gi32_ReqId, 0);
}

TEST_P(EachIoKind, TheReadTimeIsThatOfTheArrivalInEpochSecondsWhereItIsConfiguredSo) {
  gMainState.ui16_DCDBReadTimeStampInSecSinceEpoch = 1;
  const std::string out = Ingest();
  EXPECT_NE(out.find("<GetEpochTimeStamp>\nDataCollectorMainStructure.DataCollectorDBData.i8_"),
            std::string::npos);
  EXPECT_EQ(RowsOf(kind_).at(0).at("RecordReadTime").find_first_not_of("0123456789"), std::string::npos);
}

TEST_P(EachIoKind, APayloadLongerThanItsRoomIsCutAndReported) {
  FailAtOnce(kind_);
  IoIngestion::Ingest(words_.recordEntry, std::string(3500, '1'));
  EXPECT_TRUE(std::regex_match(
      errors_, std::regex(words_.word + " .*3500 bytes.*cut.*2999 bytes.*\n.* record lost: .*\n")))
      << errors_;
  EXPECT_EQ(gMainState.DataCollectorDBData.i8_IoRecord[kind_].view(), std::string(2999, '1'));
}

TEST_P(EachIoKind, AShorterRecordLeavesNothingOfALongerOne) {
  FailAtOnce(kind_);
  IoIngestion::Ingest(words_.recordEntry, std::string(500, '1'));
  const std::string out = IoIngestion::Ingest(words_.recordEntry, "2");
  EXPECT_NE(out.find("Record = |2|\n"), std::string::npos);
  EXPECT_NE(out.find("Record Length = <1>\n"), std::string::npos);
}

// The forwarding thread must not read the table while a record is written.
TEST_P(EachIoKind, TheSendGateIsClosedAndTheRecordFlagSetWhileTheTableIsWritten) {
  gMainState.DataCollectorDBConfig[kind_].ui16_MaxDatabaseAccessRetry = 10000;
  gMainState.DataCollectorDBConfig[kind_].i32_DatabaseAccessWaitInterval = 0;
  gi32_HTTPThreadSendFlag = 1;
  CapturedOutput output;
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(DatabaseOf(kind_).c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  std::thread network([this] {
    IngestIoRecord({SubscribeTopic(words_.recordEntry), kExamplePayloads[kind_]});
  });
  EXPECT_TRUE(WaitUntil([this] { return DBWriteFlags.At(kind_).gui8_PeriodicRecordsWritten == 1; }));
  EXPECT_EQ(RecordFlags.At(kind_), 1);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
  sqlite3_close(holder);
  network.join();
  EXPECT_EQ(RecordFlags.At(kind_), 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
  output.Out();
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachIoKind, ::testing::Values(AIO, DIO, TEMPERATURE), KindName());

TEST_F(IoIngestion, TemperatureRecordsComeInByEntries5And6) {
  MakeTable(TEMPERATURE);
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[15].Assign("a/marker/of/its/own");
  Ingest(5, TEMPERATURE);
  Ingest(6, TEMPERATURE);
  EXPECT_EQ(RowsOf(TEMPERATURE).size(), 2U);
}

// The marker is no way in: with a text of its own no temperature record is ever an alarm.
TEST_F(IoIngestion, ATemperatureAlarmMarkerWithATextOfItsOwnMarksNothing) {
  MakeTable(TEMPERATURE);
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[15].Assign("a/marker/of/its/own");
  EXPECT_EQ(Ingest(15, TEMPERATURE), "");
  EXPECT_EQ(gMainState.i32_AlarmFlag[TEMPERATURE], 0);
  Ingest(5, TEMPERATURE);
  EXPECT_EQ(RowsOf(TEMPERATURE).at(0).at("RecordType"), "0");
}

TEST_F(IoIngestion, ATemperatureAlarmMarkerWithTheTextOfEntry6MarksItsRecords) {
  MakeTable(TEMPERATURE);
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[15].Assign(SubscribeTopic(6));
  Ingest(6, TEMPERATURE);
  EXPECT_EQ(RowsOf(TEMPERATURE).at(0).at("RecordType"), "2");
}

TEST_F(IoIngestion, TheFirstRecordByteIsLatchedAndNotCounted) {
  MakeTable(AIO);
  CloudConnectSendFlags[AIO].gui8_SendFirstCDBRecord = 5;
  EXPECT_NE(Ingest(0, AIO).find("gui8_SendFirstCDBRecord[0] = 5\n"), std::string::npos);
  EXPECT_EQ(CloudConnectSendFlags[AIO].gui8_SendFirstCDBRecord, 5);
}

}  // namespace
}  // namespace datacollector
