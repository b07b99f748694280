// Delivery confirmations of the HTTP Send App: what they write, and what is printed.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <regex>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/Confirmations.h"
#include "mqtt/inbound/InboundMessage.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// How a kind shows itself. The texts hold what the kind's users have always seen, slips included.
struct ConfirmationWords {
  std::size_t entry;
  std::string word;
  std::string updater;
  std::string opening;  // behind the line that tells of the confirmation
  std::string lastSent;
  std::string retryFlag;
  std::string sendFlag;
  std::string setTime;
  std::string closing;
};

constexpr const char* kEnd =
    "#############################End : Update Record. #################################\n";

const std::array<ConfirmationWords, kSourceKinds> kWords = {{
    {10, "AIO", "UpdateAIDBRecord", "", "gi32_LastSentDCDBRecordNum[AIO]",
     "gui8_SendDCDBRecordRetryFlags[AIO]", "gui8_SendDCDBRecordFlags[AIO]",
     "gf64_SendAIDCDBRecordFlagSetTime", ""},
    {11, "DIO", "UpdateDIODBRecord", "", "gi32_LastSentDCDBRecordNum[DIO]",
     "gui8_SendDCDBRecordRetryFlags[AIO]", "gui8_SendDCDBRecordFlags[DIO]",
     "gf64_SendDIODCDBRecordFlagSetTime",
     "############################DIO record updated with status.Ready to send next DIO "
     "record.#################################\n"},
    {12, "Temperature", "UpdateTemperatureDBRecord", "", "gi32_LastSentDCDBRecordNum[TEMPERATURE]",
     "gui8_SendDCDBRecordRetryFlags[TEMPERATURE]", "gui8_SendDCDBRecordFlags[TEMPERATURE]",
     "gf64_SendTemperatureDCDBRecordFlagSetTime",
     "############################Temperature record updated with status.Ready to send next Temeprature "
     "record.#################################\n"},
    {13, "RS485", "UpdateRS485DBRecord",
     "################################### Update the Database with current Status. Stop Sending to Server "
     "################################################\n"
     "#############################Start : Update Record.Publish data GPIO ON "
     "#################################\n"
     "<Toggle_GPIO>\nGPIO Toggle result : 0\n",
     "gi32_RS485LastSentDCDBRecordNum", "gui8_RS485SendDCDBRecordRetryFlags", "gui8_RS485SendDCDBRecordFlags",
     "gf64_SendDIODCDBRecordFlagSetTime",
     " ###################### Record Updated. Start Sending records #########################\n"
     "#############################End : Update Record.Publish data GPIO OFF "
     "#################################\n"
     "DataCollectorMainStructure.DataCollectorMqttTopics.i8_SubscribeTopics[14] : 1\n"},
    {14, "RS232", "UpdateRS232DBRecord",
     "################################### Update the RS232 Database with current Status. Stop Sending to "
     "Server ################################################\n"
     "#############################Start : Update RS232 Record #################################\n",
     "gi32_RS232LastSentDCDBRecordNum", "gui8_RS232SendDCDBRecordRetryFlags", "gui8_RS232SendDCDBRecordFlags",
     "gf64_SendRS232DCDBRecordFlagSetTime",
     std::string(" ###################### RS232 Record Updated. Start Sending records "
                 "#########################\n") +
         kEnd + "DataCollectorMainStructure.DataCollectorMqttTopics.i8_SubscribeTopics[14] : 0\n"},
    {16, "SNMP", "UpdateSNMPDBRecord",
     "################################### Update the SNMP Database with current Status. Stop Sending to "
     "Server "
     "################################################\n"
     "#############################Start : Update SNMP Record #################################\n",
     "gi32_SNMPLastSentDCDBRecordNum", "gui8_SNMPSendDCDBRecordRetryFlags", "gui8_SNMPSendDCDBRecordFlags",
     "gf64_SendSNMPDCDBRecordFlagSetTime",
     std::string(" ###################### SNMP Record Updated. Start Sending records "
                 "#########################\n") +
         kEnd},
}};

constexpr const char* kReadTime = "2026-11-20 10:00:01";
constexpr const char* kExample = "X,2026-11-20 10:00:01,5,1,2026-11-20 10:00:09";

class Confirmation : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  Confirmation() {
    MakeTable(kind_);
    gMainState.DataCollectorDBParams[kind_].ui16_MaxReadTry = 1;
    flags_.gui8_NoDCDBRecordsToPublish = 1;
  }

  std::string Confirm(const std::string& payload) {
    CapturedOutput output;
    ApplyConfirmation({SubscribeTopic(words_.entry), payload});
    errors_ = output.Err();
    return WithoutClock(Folded(output.Out()));
  }

  std::string Opening() const {
    return "\n\n ******************* Update record for " + words_.word +
           " received from HTTP Send App **************** \n" + words_.opening;
  }

  std::string Members(const std::string& readTime, int number, int status, const std::string& time) const {
    const std::string member =
        "DataCollectorMainStructure.DataCollectorDBUpdate.DataCollector" + words_.word + "DBUpdate.";
    return member + "i8_RecordReadTimeStamp = " + readTime + "\n" + member +
           "i32_RecordNum = " + std::to_string(number) + "\n" + member +
           "i32_TxStatus = " + std::to_string(status) + "\n" + member + "i8_TxTimeStamp = " + time + "\n";
  }

  std::string Parsed(const std::string& payload) const {
    return "parsed payload = |" + payload + "|\n" + words_.word + " Copied temp = " + payload + "\n";
  }

  // The texts of a successful update of record 5.
  std::string Updated(int lastSent, int retry) const {
    return "<" + words_.updater + ">\nSuccess: " + words_.updater +
           ", record updated, RecordNumber = 5, TxStatus and TxTimestamp \n" + words_.lastSent + " = " +
           std::to_string(lastSent) + ", psDataCollectorMainStructure->DataCollectorDBUpdate.DataCollector" +
           words_.word + "DBUpdate.i32_RecordNum = 5, CloudConnectSendFlags." + words_.retryFlag + " = " +
           std::to_string(retry) + "\n";
  }

  std::string Released() const {
    std::array<char, 100> time;
    std::snprintf(time.data(), time.size(), " = %f\n", flags_.gf64_SendDCDBRecordFlagSetTime.Seconds());
    return "setting in data sent, CloudConnectSendFlags." + words_.sendFlag + " = 1\n" + kClockLines +
           words_.setTime + time.data() + words_.closing;
  }

  bool IsReleased() const {
    const bool released = flags_.gui8_SendUnsentDCDBRecord == 1;
    EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, released ? 0 : 1);
    EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, released ? 1 : 0);
    EXPECT_EQ(flags_.gf64_SendDCDBRecordFlagSetTime.Seconds() > 0, released);
    return released;
  }

  const SourceKind kind_ = GetParam();
  const ConfirmationWords& words_ = kWords[kind_];
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
  std::string errors_;
};

TEST_P(Confirmation, OfTheLastRecordPrintsItsTextsInOrderAndNothingElse) {
  AddRow(kind_, 5, "0", kReadTime);
  flags_.gi32_LastSentDCDBRecordNum = 5;
  const std::string out = Confirm(kExample);
  EXPECT_EQ(out, Opening() + Parsed(kExample) + Members(kReadTime, 5, 1, "2026-11-20 10:00:09") +
                     Updated(5, 0) + Released());
  EXPECT_EQ(errors_, "");
}

TEST_P(Confirmation, OfAnotherRecordPrintsNothingOfARelease) {
  AddRow(kind_, 5, "0", kReadTime);
  flags_.gi32_LastSentDCDBRecordNum = 6;
  flags_.gui8_SendDCDBRecordRetryFlags = 1;
  EXPECT_EQ(Confirm(kExample),
            Opening() + Parsed(kExample) + Members(kReadTime, 5, 1, "2026-11-20 10:00:09") + Updated(6, 1));
}

TEST_P(Confirmation, WritesStatusAndTimeIntoItsRowAlone) {
  AddRow(kind_, 4, "0", kReadTime);
  AddRow(kind_, 5, "0", kReadTime);
  AddRow(kind_, 5, "0", "2026-11-20 11:11:11");
  Confirm("X,2026-11-20 10:00:01,5,-17,2026-11-20 10:00:09");
  const std::vector<Row> rows = RowsOf(kind_);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].at("TxStatus"), "0");
  EXPECT_EQ(rows[1].at("TxStatus"), "-17");
  EXPECT_EQ(rows[1].at("TxStatusTime"), "2026-11-20 10:00:09");
  EXPECT_EQ(rows[2].at("TxStatus"), "0");
}

struct ReleaseCase {
  int lastSent;
  int retry;
  bool releases;
};
constexpr std::array<ReleaseCase, 6> kReleaseCases = {{
    {5, 0, true},
    {5, 1, false},
    {6, 0, false},
    {6, 1, false},
    {0, 0, true},
    {0, 1, true},
}};

// The record that is confirmed is number 5.
TEST_P(Confirmation, ReleasesForTheLastRecordWithoutAPendingRetryOrWhenNothingHasBeenSent) {
  for (const ReleaseCase& test : kReleaseCases) {
    SCOPED_TRACE(std::to_string(test.lastSent) + " " + std::to_string(test.retry));
    flags_.gi32_LastSentDCDBRecordNum = test.lastSent;
    flags_.gui8_SendDCDBRecordRetryFlags = static_cast<std::uint8_t>(test.retry);
    flags_.gui8_SendUnsentDCDBRecord = 0;
    flags_.gui8_NoDCDBRecordsToPublish = 1;
    flags_.gui8_SendDCDBRecordFlags = 0;
    flags_.gf64_SendDCDBRecordFlagSetTime.Set(0, 0);
    gi32_HTTPThreadSendFlag = 0;
    Confirm(kExample);
    EXPECT_EQ(IsReleased(), test.releases);
    // The gate of AIO is opened by the end of the dispatch alone.
    EXPECT_EQ(gi32_HTTPThreadSendFlag, test.releases && kind_ != AIO ? 1 : 0);
    EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, test.retry);
    EXPECT_EQ(flags_.gi32_LastSentDCDBRecordNum, test.lastSent);
  }
}

TEST_P(Confirmation, OfARowThatHasBeenReplacedReleasesAllTheSame) {
  AddRow(kind_, 5, "0", "2026-11-20 22:22:22");
  flags_.gi32_LastSentDCDBRecordNum = 5;
  Confirm(kExample);
  EXPECT_TRUE(IsReleased());
  EXPECT_EQ(RowsOf(kind_).at(0).at("TxStatus"), "0");
}

TEST_P(Confirmation, ThatCannotBeWrittenIsToldAndChangesNoFlag) {
  RunSql(DatabaseOf(kind_), "DROP TABLE " + TableOf(kind_));
  EXPECT_EQ(Confirm(kExample), Opening() + Parsed(kExample) +
                                   Members(kReadTime, 5, 1, "2026-11-20 10:00:09") + "<" + words_.updater +
                                   ">\nFailure: " + words_.updater +
                                   ", record not updated, RecordNumber=5, TxStatus and TxTimestamp\n");
  EXPECT_FALSE(IsReleased());
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

TEST_P(Confirmation, WithAQuoteInItsTimeIsNotWritten) {
  AddRow(kind_, 5, "0", kReadTime);
  const std::string out = Confirm("X,2026-11-20 10:00:01,5,1,' OR 1=1;--");
  EXPECT_NE(out.find("Failure: " + words_.updater + ", record not updated, RecordNumber=5, "),
            std::string::npos);
  EXPECT_FALSE(IsReleased());
  EXPECT_EQ(RowsOf(kind_).at(0).at("TxStatus"), "0");
}

TEST_P(Confirmation, WithMissingFieldsLeavesThemEmptyAndNotAsTheyWere) {
  Confirm(kExample);
  flags_.gi32_LastSentDCDBRecordNum = 7;
  EXPECT_NE(Confirm("X").find(Parsed("X") + Members("", 0, 0, "")), std::string::npos);
  EXPECT_NE(Confirm("").find(Parsed("") + Members("", 0, 0, "")), std::string::npos);
  EXPECT_NE(Confirm("X,t,,2").find(Members("t", 0, 2, "")), std::string::npos);
  EXPECT_NE(Confirm("X,t,5,2,u,further,fields").find(Members("t", 5, 2, "u")), std::string::npos);
}

TEST_P(Confirmation, LongerThanItsBuffersIsCutAndReported) {
  const std::string out = Confirm("X,2026-11-20 10:00:01 and more,5,1," + std::string(600, 't'));
  EXPECT_TRUE(std::regex_match(
      errors_,
      std::regex(words_.word + " .*635 bytes.*499 bytes.*\n" + words_.word + " .*28 bytes.*24 bytes.*\n" +
                 words_.word + " .*464 bytes.*24 bytes.*\n.* confirmation fits no row: .*\n")))
      << errors_;
  EXPECT_NE(out.find(Members("2026-11-20 10:00:01 and ", 5, 1, std::string(24, 't'))), std::string::npos);
}

TEST_P(Confirmation, OnAnotherTopicIsNotLookedAt) {
  CapturedOutput output;
  ApplyConfirmation({"HTTPSend/Other/Status", kExample});
  EXPECT_EQ(output.Out(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, Confirmation, ::testing::ValuesIn(kAllKinds), KindName());

TEST_F(ExampleGateway, AnRs485ConfirmationDrivesTheActivityOutputAndNoOtherDoes) {
  for (const SourceKind kind : kAllKinds) {
    MakeTable(kind);
    WriteFile("/sys/class/gpio/gpio42/value", "0\n");
    CapturedOutput output;
    ApplyConfirmation({SubscribeTopic(kWords[kind].entry), kExample});
    EXPECT_EQ(ReadFile("/sys/class/gpio/gpio42/value"), kind == RS485 ? "1\n" : "0\n") << kind;
    output.Out();
  }
}

}  // namespace
}  // namespace datacollector
