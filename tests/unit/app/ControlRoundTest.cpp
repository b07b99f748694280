#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "app/ControlLoop.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class ControlRound : public ExampleGateway {
 protected:
  static std::string Round() {
    CapturedOutput output;
    RunControlRound();
    const std::string out = std::regex_replace(
        Folded(output.Out()), std::regex("i8_ReadCurrentMinute = [0-9]{2}\nui8_CurrentMinute : [0-9]{1,2}\n"),
        "<minute>\n");
    // The state of each meter's windows is told every round and is not looked at here.
    return std::regex_replace(out, std::regex("DBWriteFlags\\..*\n"), "");
  }

  static constexpr const char* kWindows = "<GetMinutes>\n<minute>\n<SetWRRecordsFlags>\n";
  static constexpr const char* kReopenings =
      "gui8_SendFirstCDBRecord = 1\nCloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags= 1\n"
      "RS232 gui8_SendFirstCDBRecord = 1\nCloudConnectSendFlags.gui8_RS232SendDCDBRecordFlags= 1\n"
      "SNMP gui8_SendFirstCDBRecord = 1\nCloudConnectSendFlags.gui8_SNMPSendDCDBRecordFlags= 1\n";

  DataCollectorSourcesConfig& sources_ = gMainState.DataCollectorSourcesConfig;
};

TEST_F(ControlRound, LooksAtTheWindowsReopensTheMetersAndRunsTheTimersInThisOrder) {
  EXPECT_EQ(Round(), std::string(kWindows) + kReopenings +
                         "<SetAIDBRetryFlag>\n<SetDIDBRetryFlag>\n<SetTemperatureDBRetryFlag>\n"
                         "<SetRS485DBRetryFlag>\n<SetRS232DBRetryFlag>\n<SetSNMPDBRetryFlag>\n");
}

TEST_F(ControlRound, TheMetersAreDueEveryRoundAndTheIoKindsAreNot) {
  for (KindSendFlags& flags : CloudConnectSendFlags) {
    flags.gui8_NoDCDBRecordsToPublish = 1;
  }
  Round();
  for (const SourceKind kind : kAllKinds) {
    const KindSendFlags& flags = CloudConnectSendFlags[kind];
    const int meter = kind == RS485 || kind == RS232 || kind == SNMP ? 1 : 0;
    EXPECT_EQ(flags.gui8_NoDCDBRecordsToPublish, 1 - meter) << kind;
    EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, meter) << kind;
    EXPECT_EQ(flags.gui8_SendFirstCDBRecord, meter) << kind;
  }
}

TEST_F(ControlRound, TheFirstRecordByteIsLatchedAndNotOverwritten) {
  CloudConnectSendFlags[SNMP].gui8_SendFirstCDBRecord = 5;
  EXPECT_NE(Round().find("SNMP gui8_SendFirstCDBRecord = 5\n"), std::string::npos);
  EXPECT_EQ(CloudConnectSendFlags[SNMP].gui8_SendFirstCDBRecord, 5);
}

TEST_F(ControlRound, WhileTheCustomerHasTheDatabasesOnlyTheWindowsAreLookedAt) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  RecordFlags.At(DIO) = 1;
  CloudConnectSendFlags[RS485].gui8_FirstDCDBRecordSent = 1;
  CloudConnectSendFlags[RS485].gui8_NoDCDBRecordsToPublish = 1;
  EXPECT_EQ(Round().find(kWindows), 0U);
  EXPECT_EQ(DBWriteFlags.At(DIO).gui8_WriteRecordsWithinPeriodicMinute, 1);
  for (const KindSendFlags& flags : CloudConnectSendFlags) {
    EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, 0);
    EXPECT_EQ(flags.gui8_SendDCDBRecordRetryFlags, 0);
  }
  EXPECT_EQ(CloudConnectSendFlags[RS485].gui8_NoDCDBRecordsToPublish, 1);
}

TEST_F(ControlRound, KindsThatAreDisabledAreLeftOut) {
  sources_.i32_DataSourcesEnableFlags[DIO][0] = 0;
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesSNMPEnableFlags = {};
  EXPECT_EQ(Round(), std::string(kWindows) +
                         "RS232 gui8_SendFirstCDBRecord = 1\n"
                         "CloudConnectSendFlags.gui8_RS232SendDCDBRecordFlags= 1\n"
                         "<SetAIDBRetryFlag>\n<SetTemperatureDBRetryFlag>\n<SetRS232DBRetryFlag>\n");
  EXPECT_EQ(CloudConnectSendFlags[RS485].gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(CloudConnectSendFlags[SNMP].gui8_SendDCDBRecordFlags, 0);
}

TEST_F(ControlRound, AnyRs485LineReopensTheKindOnce) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesRS485EnableFlags[3][0] = 1;
  const std::string out = Round();
  EXPECT_EQ(CountOf("gui8_RS485SendDCDBRecordFlags= 1\n", out), 1U);
  EXPECT_EQ(CountOf("<SetRS485DBRetryFlag>", out), 1U);
}

TEST_F(ControlRound, PassesTheCurrentMinuteToTheDueTest) {
  sources_.i32_DataSourcesPublishInterval[AIO][0] = 100000;
  CapturedOutput output;
  RunControlRound();
  const std::string out = output.Out();
  std::smatch match;
  ASSERT_TRUE(std::regex_search(out, match, std::regex("i8_ReadCurrentMinute = ([0-9]{2})\n")));
  const std::string minute = std::to_string(std::stoi(match[1]));
  EXPECT_NE(out.find("ui8_CurrentMinute : " + minute + "\n"), std::string::npos);
  EXPECT_NE(out.find("ui8_WRMinute = " + minute + "\n"), std::string::npos);
  EXPECT_EQ(DBWriteFlags.At(AIO).gui8_WriteRecordsDue, minute == "0" ? 0 : 1);
}

}  // namespace
}  // namespace datacollector
