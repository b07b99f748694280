// Storing of the records of RS-485, RS-232 and SNMP.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/MeterIngestion.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr const char* kRs232Test =
    "DataCollectorMainStructure.DataCollectorSourcesConfig.i32_DataSourcesRS232EnableFlags[RS232Line1][0] : "
    "1\nRS232 Enabled\n";

struct MeterWords {
  std::string word;
  std::size_t entry;
  std::string indexText;
  std::string lineText;  // of line 1
  std::string writer;
  std::string success;  // of line 1
  std::string failure;
  std::string completed;
  std::string out;
};

const std::array<MeterWords, kSourceKinds> kWords = {{
    {},
    {},
    {},
    {"RS485", 4, "Parsed Meter Index : ", "Inside if i32_RS485LineID1 \n", "WriteRS485DCDBRecords",
     "Success: EMeter RS485 Line 1 Database Written Successfully\n",
     "Failure: Fail to write RS485 Line 1 Database\n", "", "Out of RS 485 Subscription\n"},
    {"RS232", 7, "Parsed RS232 Meter Index : ", "Inside if i32_RS232LineID \n", "WriteRS232DCDBRecords",
     "Success: EMeter RS232 Database Written Successfully\n", "Failure: Fail to write RS232 Database\n",
     "RS232 ", "Out of RS 232 Subscription\n"},
    {"SNMP", 9, "Parsed Meter Index : ", "Inside if i32_SNMPLineID1 \n", "WriteSNMPDCDBRecords",
     "Success: EMeter SNMP Line 1 Database Written Successfully\n",
     "Failure: Fail to write SNMP Line 1 Database\n", "", "Out of SNMP Subscription\n"},
}};

class MeterIngestion : public ExampleGateway {
 protected:
  static std::string Ingest(std::size_t entry, std::string_view payload) {
    CapturedOutput output;
    IngestMeterRecord({SubscribeTopic(entry), payload});
    errors_ = output.Err();
    return std::regex_replace(Folded(output.Out()),
                              std::regex("i8_ReadCurrentMinute = [0-9]{2}\nui8_CurrentMinute = [0-9]{1,2}\n"),
                              "<minute>\n");
  }

  static inline std::string errors_;
};

class EachMeterKind : public MeterIngestion, public ::testing::WithParamInterface<SourceKind> {
 protected:
  EachMeterKind() {
    MakeTable(kind_);
    gMainState.DataCollectorDBConfig[kind_].ui16_MaxDatabaseAccessRetry = 1;
  }

  std::string Ingest(std::string_view payload) const { return MeterIngestion::Ingest(words_.entry, payload); }
  std::string Ingest() const { return Ingest(kExamplePayloads[kind_]); }

  // The example record of a meter (and line), both counted from 1.
  std::string Payload(int meter, int line = 1) const {
    std::string payload = kExamplePayloads[kind_];
    payload.replace(0, 1, std::to_string(meter));
    const std::string requestAndLine = "7,1,1,";
    return payload.replace(payload.find(requestAndLine), requestAndLine.size(),
                           "7," + std::to_string(line) + ",1,");
  }

  // The tests of the RS-232 branch are printed for every message.
  std::string Around(const std::string& text) const {
    return kind_ == RS485 ? text + kRs232Test : kRs232Test + text;
  }

  // The texts up to the choice of the line.
  std::string Arrival(const std::string& payload, int meter, int line) const {
    const std::string record = payload.substr(payload.find(',') + 1);
    std::string text = " \n ************************** Entered " + words_.word +
                       " On Message Call Back ***********************************\n"
                       "#####################################Need to Insert Data. Stop Sending Data to HTTP "
                       "server#########################################\n";
    if (kind_ != RS232) {
      text += "<GetTimeStamp>\nDataCollectorMainStructure.DataCollectorDBData.i8_" + words_.word +
              "ReadTimeStamp = " + readTime_ + "\n";
    }
    return text + "<GetMinutes>\n<minute>\ni8_TempPayload_str on message: " + payload + "\n" +
           words_.indexText + std::to_string(meter) + "\ni8_temp : " + record +
           "\ni8_TempPayload after removing meter index : " + record + "\nParsed i32_" + words_.word +
           "LineID : " + std::to_string(line) + "\nBefore if i32_" + words_.word + "LineID \n";
  }

  // The texts of a stored record of line 1 up to its outcome.
  std::string Storing(const std::string& payload, int meter, const std::string& window = "") const {
    const std::string record = payload.substr(payload.find(',') + 1);
    const std::string index = std::to_string(meter - 1);
    std::string text = words_.lineText + "RecordFlags.gui8_" + words_.word + "RecordsFlag[" + index + "][" +
                       words_.word + "Line1]=1\ni8_" + words_.word + "Record Line1No = |" + record +
                       "|\ni8_" + words_.word + "Record Length = <" + std::to_string(record.size()) + ">\n" +
                       window + "Writing " + words_.word +
                       " Line 1 meter Data in Database Start#############################\n";
    if (kind_ == RS232) {
      text += "i32_RS232_MeterID : " + std::to_string(meter) +
              "\ni32_ParsedReqId : 7\nSiteID : SITE01\nDeviceID : GW0001\n";
    }
    return text + "<" + words_.writer + ">\n";
  }

  std::string Departure() const {
    return "Writing meter Data in Database End#############################\n"
           "#####################################" +
           words_.completed +
           "Insert Data completed. Start Sending Data to HTTP "
           "server#########################################\n" +
           words_.out;
  }

  // The read time of the record that was ingested last. A stored RS-485 record's is set once more when it is
  // packed, so this is only asked for within the same second.
  void NoteReadTime(const std::string& out) {
    std::smatch match;
    if (std::regex_search(out, match, std::regex("ReadTimeStamp = (.*)\n"))) {
      readTime_ = match[1];
    }
  }

  const SourceKind kind_ = GetParam();
  const MeterWords& words_ = kWords[kind_];
  std::string readTime_;
};

TEST_P(EachMeterKind, ARecordPrintsItsTextsInOrderAndNothingElse) {
  const std::string payload = kExamplePayloads[kind_];
  const std::string out = Ingest();
  NoteReadTime(out);
  EXPECT_EQ(out, Around(Arrival(payload, 1, 1) + Storing(payload, 1) + words_.success + Departure()));
  EXPECT_EQ(errors_, "");
}

TEST_P(EachMeterKind, ARecordIsStoredWithoutItsMeterIndexAndNotMarkedForSending) {
  gi32_HTTPThreadSendFlag = 0;
  CloudConnectSendFlags[kind_].gui8_NoDCDBRecordsToPublish = 1;
  Ingest();
  const std::vector<Row> rows = RowsOf(kind_);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].at("RequestID"), "7");
  EXPECT_EQ(rows[0].at(kind_ == RS485 ? "SourceDeviceID" : "SourceSiteID"),
            kind_ == RS485 ? "GW0001" : "SITE01");
  EXPECT_EQ(RecordFlags.At(kind_, 0, 0), 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
  EXPECT_EQ(CloudConnectSendFlags[kind_].gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(CloudConnectSendFlags[kind_].gui8_NoDCDBRecordsToPublish, 1);
}

TEST_P(EachMeterKind, AWriteThatFailsIsToldAndLeavesTheRecordFlag) {
  const std::string payload = kExamplePayloads[kind_];
  RunSql(DatabaseOf(kind_), "DROP TABLE " + TableOf(kind_));
  const std::string out = Ingest();
  NoteReadTime(out);
  EXPECT_EQ(out, Around(Arrival(payload, 1, 1) + Storing(payload, 1) + words_.failure + Departure()));
  EXPECT_EQ(RecordFlags.At(kind_, 0, 0), 1);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_P(EachMeterKind, TheLastMeterOfTheTableIsStored) {
  const int last = kind_ == RS485 ? 100 : 10;
  const std::string payload = Payload(last);
  const std::string out = Ingest(payload);
  NoteReadTime(out);
  EXPECT_EQ(out, Around(Arrival(payload, last, 1) + Storing(payload, last) + words_.success + Departure()));
  EXPECT_EQ(RowsOf(kind_).size(), 1U);
}

// A notice that a record was lost may come now or with a later one, and takes the time when it comes.
std::string WithoutStamps(std::string text) {
  const std::string stamp = "<GetTimeStamp>\n";
  for (std::size_t at = text.find(stamp); at != std::string::npos; at = text.find(stamp)) {
    text.erase(at, stamp.size());
  }
  return text;
}

TEST_P(EachMeterKind, AMeterIndexOutsideTheTableIsRefusedAndReported) {
  const std::string last = kind_ == RS485 ? "100" : "10";
  for (const int meter : {0, -1, std::stoi(last) + 1, 2147483647}) {
    std::filesystem::remove(kLogFile);
    gi32_HTTPThreadSendFlag = 0;
    const std::string payload = Payload(meter);
    const std::string out = Ingest(payload);
    NoteReadTime(out);
    const std::string refusal =
        words_.word + " record refused: meter index " + std::to_string(meter) + " is not one of 1 to " + last;
    EXPECT_EQ(WithoutStamps(out), WithoutStamps(Around(Arrival(payload, meter, 1) + Departure())));
    EXPECT_TRUE(errors_.starts_with(refusal + "\n")) << errors_;
    EXPECT_TRUE(LogText().starts_with("T: " + refusal + "\n")) << LogText();
    if (meter == 0) {
      EXPECT_NE(errors_.find(" record lost: meter index 0 is not one of 1 to " + last + "\n"),
                std::string::npos)
          << errors_;
    }
    EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
  }
  EXPECT_EQ(RowsOf(kind_).size(), 0U);
}

TEST_P(EachMeterKind, AMissingMeterIndexIsRefused) {
  for (const char* payload : {"", ",\"GW0001\",0,7,1", "\"<\",1,1,1,1", "x"}) {
    Ingest(payload);
    EXPECT_NE(errors_.find(words_.word + " record refused: meter index 0"), std::string::npos) << payload;
  }
  EXPECT_EQ(RowsOf(kind_).size(), 0U);
}

TEST_P(EachMeterKind, ALineThatIsNotHandledStoresNothing) {
  for (const int line : {0, -1, kind_ == RS485 ? 3 : 2, 99}) {
    gi32_HTTPThreadSendFlag = 0;
    const std::string payload = Payload(1, line);
    const std::string out = Ingest(payload);
    NoteReadTime(out);
    EXPECT_EQ(WithoutStamps(out), WithoutStamps(Around(Arrival(payload, 1, line) + Departure())));
    EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
    if (line == 0) {
      EXPECT_NE(errors_.find(" record lost: line 0 is not one of 1 to "), std::string::npos) << errors_;
    }
  }
  EXPECT_EQ(RowsOf(kind_).size(), 0U);
  EXPECT_EQ(RecordFlags.At(kind_, 0, 0), 0);
}

TEST_P(EachMeterKind, OpenWindowsAreClosedByTheRecord) {
  for (const bool within : {true, false}) {
    PeriodicWindow& window = DBWriteFlags.At(kind_, 1, 0);
    window.gui8_PeriodicRecordsWritten = 0;
    window.gui8_WriteRecordsWithinPeriodicMinute = within ? 1 : 0;
    window.gui8_WriteRecordsAfterPeriodicMinute = within ? 0 : 1;
    const std::string payload = Payload(2);
    const std::string out = Ingest(payload);
    NoteReadTime(out);
    EXPECT_EQ(out, Around(Arrival(payload, 2, 1) +
                          Storing(payload, 2,
                                  "\n\n*******************DBWriteFlags.gui8_" + words_.word +
                                      "PeriodicRecordsWritten[1][" + words_.word +
                                      "Line1]=1 ^^^^*******************n\n") +
                          words_.success + Departure()));
    EXPECT_EQ(window.gui8_PeriodicRecordsWritten, 1);
    EXPECT_EQ(window.gui8_WriteRecordsWithinPeriodicMinute, 0);
    EXPECT_EQ(window.gui8_WriteRecordsAfterPeriodicMinute, 0);
  }
}

TEST_P(EachMeterKind, ClosedWindowsLeaveThePeriodUnwritten) {
  Ingest();
  EXPECT_EQ(DBWriteFlags.At(kind_, 0, 0).gui8_PeriodicRecordsWritten, 0);
}

TEST_P(EachMeterKind, OnlyASuccessfulWriteWrapsTheRequestNumbersOfTheLine) {
  gMainState.ui16_MaxAppDataReqId = 10;
  Word& number = AppDataReqFlags.At(kind_, 1, 0).gi32_ReqId;
  number = 11;
  Ingest("1,no literals,,,,1,1,1");
  EXPECT_EQ(number, 11);
  Ingest();
  EXPECT_EQ(number, 0);
}

TEST_P(EachMeterKind, ARecordLongerThanItsSlotIsCutThereAndLeavesTheNextSlotAlone) {
  const std::string head = Payload(1).substr(0, 40);
  MeterRecordText& next = kind_ == RS485   ? gMainState.DataCollectorDBData.i8_MeterRecord.At(RS485, 1, 0)
                          : kind_ == RS232 ? gMainState.DataCollectorDBData.i8_MeterRecord.At(RS232, 1)
                                           : gMainState.DataCollectorDBData.i8_MeterRecord.At(SNMP, 1);
  next.Assign("the next meter's");
  Ingest(head + std::string(2500 - head.size(), '1'));
  EXPECT_TRUE(std::regex_match(
      errors_, std::regex(words_.word + " .*2498 bytes.*cut.*1999 bytes.*\n.* record lost: .*\n")))
      << errors_;
  EXPECT_STREQ(next.c_str(), "the next meter's");
}

TEST_P(EachMeterKind, APayloadLongerThanTheWorkTextIsCutTwice) {
  const std::string head = Payload(1).substr(0, 40);
  Ingest(head + std::string(5000 - head.size(), '1'));
  EXPECT_TRUE(
      std::regex_match(errors_, std::regex(words_.word + " .*5000 bytes.*cut.*3999 bytes.*\n" + words_.word +
                                           " .*3997 bytes.*cut.*1999 bytes.*\n.* record lost: .*\n")))
      << errors_;
}

TEST_P(EachMeterKind, ADisabledKindIsNotEntered) {
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags = {};
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS232EnableFlags = {};
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesSNMPEnableFlags = {};
  EXPECT_EQ(
      Ingest(),
      "DataCollectorMainStructure.DataCollectorSourcesConfig.i32_DataSourcesRS232EnableFlags[RS232Line1]"
      "[0] : 0\n");
  EXPECT_EQ(RowsOf(kind_).size(), 0U);
}

TEST_P(EachMeterKind, TheReadTimeIsInEpochSecondsWhereItIsConfiguredSo) {
  gMainState.ui16_DCDBReadTimeStampInSecSinceEpoch = 1;
  const std::string out = Ingest();
  EXPECT_EQ(CountOf("<GetEpochTimeStamp>\n", out), kind_ == RS232 ? 0U : 1U);
  EXPECT_EQ(RowsOf(kind_).at(0).at("RecordReadTime").find_first_not_of("0123456789"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachMeterKind, ::testing::Values(RS485, RS232, SNMP), KindName());

}  // namespace
}  // namespace datacollector
