// Alarms, lines and identities of meter and SNMP records.
#include <gtest/gtest.h>

#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/MeterIngestion.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class MeterRecords : public ExampleGateway {
 protected:
  MeterRecords() {
    for (const SourceKind kind : {RS485, RS232, SNMP}) {
      MakeTable(kind);
      gMainState.DataCollectorDBConfig[kind].ui16_MaxDatabaseAccessRetry = 1;
    }
  }

  static std::string Ingest(std::size_t entry, const std::string& payload) {
    CapturedOutput output;
    IngestMeterRecord({SubscribeTopic(entry), payload});
    errors_ = output.Err();
    return Folded(output.Out());
  }

  static std::string Replaced(SourceKind kind, const std::string& part, const std::string& by) {
    std::string payload = kExamplePayloads[kind];
    return payload.replace(payload.find(part), part.size(), by);
  }

  static inline std::string errors_;
};

TEST_F(MeterRecords, OnTheRs485AlarmTopicAreAlarms) {
  Ingest(8, kExamplePayloads[RS485]);
  EXPECT_EQ(RowsOf(RS485).at(0).at("RecordType"), "2");
  EXPECT_EQ(gMainState.i32_AlarmFlag[RS485], 0);
  Ingest(4, kExamplePayloads[RS485]);
  EXPECT_EQ(RowsOf(RS485).at(1).at("RecordType"), "0");
}

TEST_F(MeterRecords, OnTheTemperatureTopicAreTakenByTheRs485Branch) {
  Ingest(5, kExamplePayloads[RS485]);
  EXPECT_EQ(RowsOf(RS485).size(), 1U);
}

TEST_F(MeterRecords, OfATemperatureOnThatTopicAreRefusedForWantOfAMeterIndex) {
  Ingest(5, kExamplePayloads[TEMPERATURE]);
  EXPECT_EQ(errors_, "RS485 record refused: meter index 0 is not one of 1 to 100\n");
  EXPECT_EQ(RowsOf(RS485).size(), 0U);
}

TEST_F(MeterRecords, AnSnmpAlarmNeedsTheRecordTopicsText) {
  EXPECT_EQ(Ingest(19, kExamplePayloads[SNMP]).find("SNMP"), std::string::npos);
  EXPECT_EQ(gMainState.i32_AlarmFlag[SNMP], 0);
  EXPECT_EQ(RowsOf(SNMP).size(), 0U);
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[19].Assign(SubscribeTopic(9));
  Ingest(9, kExamplePayloads[SNMP]);
  EXPECT_EQ(RowsOf(SNMP).at(0).at("RecordType"), "2");
}

TEST_F(MeterRecords, OfRs232AreNeverAlarms) {
  for (const std::size_t entry : {std::size_t{8}, std::size_t{19}}) {
    gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[entry].Assign(SubscribeTopic(7));
  }
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags = {};
  Ingest(7, kExamplePayloads[RS232]);
  EXPECT_EQ(RowsOf(RS232).at(0).at("RecordType"), "0");
}

// An alarm that reaches no slot must not mark the next record of its kind.
TEST_F(MeterRecords, AnAlarmWhoseIndexIsRefusedTakesItsFlagBack) {
  std::string payload = kExamplePayloads[RS485];
  Ingest(8, payload.replace(0, 1, "101"));
  EXPECT_EQ(gMainState.i32_AlarmFlag[RS485], 0);
  Ingest(4, kExamplePayloads[RS485]);
  EXPECT_EQ(RowsOf(RS485).at(0).at("RecordType"), "0");
}

TEST_F(MeterRecords, AnAlarmOfALineThatIsNotHandledTakesItsFlagBack) {
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[19].Assign(SubscribeTopic(9));
  Ingest(8, Replaced(RS485, "7,1,1,", "7,3,1,"));
  Ingest(9, Replaced(SNMP, "7,1,1,", "7,2,1,"));
  EXPECT_EQ(gMainState.i32_AlarmFlag[RS485], 0);
  EXPECT_EQ(gMainState.i32_AlarmFlag[SNMP], 0);
}

TEST_F(MeterRecords, OfTheSecondRs485LineHaveTextsFlagsAndASlotOfTheirOwn) {
  gMainState.ui16_MaxAppDataReqId = 10;
  AppDataReqFlags.At(RS485, 0, 0).gi32_ReqId = 11;
  AppDataReqFlags.At(RS485, 0, 1).gi32_ReqId = 11;
  DBWriteFlags.At(RS485, 0, 1).gui8_WriteRecordsWithinPeriodicMinute = 1;
  const std::string payload = Replaced(RS485, "7,1,1,", "7,2,1,");
  const std::string record = payload.substr(2);
  const std::string out = Ingest(4, payload);
  const std::string texts =
      "Inside if i32_RS485LineID2\n"
      "RecordFlags.gui8_RS485RecordsFlag[0][RS485Line2]=1\n"
      "i8_RS485Record Line2No = |" +
      record +
      "|\n"
      "i8_RS485Record Length = <" +
      std::to_string(record.size()) +
      ">\n"
      "\n\n*******************DBWriteFlags.gui8_RS485PeriodicRecordsWritten[0][RS485Line2]=1 "
      "^^^^*******************n\n"
      "Writing RS485 Line 2 meter Data in Database Start#############################\n"
      "<WriteRS485DCDBRecords>\n"
      "Success: EMeter RS485 Line 2 Database Written Successfully\n";
  EXPECT_NE(out.find(texts), std::string::npos) << out;
  EXPECT_EQ(gMainState.DataCollectorDBData.i8_MeterRecord.At(RS485, 0, 1).view(), record);
  EXPECT_TRUE(gMainState.DataCollectorDBData.i8_MeterRecord.At(RS485, 0, 0).empty());
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 0).gi32_ReqId, 11);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 1).gi32_ReqId, 0);
  EXPECT_EQ(RowsOf(RS485).size(), 1U);
}

TEST_F(MeterRecords, OfTheSecondRs485LineTellTheirFailureByItsNumber) {
  RunSql(DatabaseOf(RS485), "DROP TABLE " + TableOf(RS485));
  const std::string out = Ingest(4, Replaced(RS485, "7,1,1,", "7,2,1,"));
  EXPECT_NE(out.find("Failure: Fail to write RS485 Line 2 Database\n"), std::string::npos) << out;
  EXPECT_EQ(RecordFlags.At(RS485, 0, 1), 1);
}

TEST_F(MeterRecords, AreStoredUnderTheIdentityThatTheyCarry) {
  for (const SourceKind kind : {RS232, SNMP}) {
    Ingest(kind == RS232 ? 7 : 9, Replaced(kind, R"("SITE01","GW0001")", R"( "SITE77" ,"GW 0088")"));
    const Row row = RowsOf(kind).at(0);
    EXPECT_EQ(row.at("SiteID"), "SITE77");
    EXPECT_EQ(row.at("DeviceID"), "GW 0088");
    EXPECT_EQ(row.at("SourceSiteID"), "SITE77");
    EXPECT_EQ(row.at("SourceDeviceID"), "GW 0088");
  }
  Ingest(4, Replaced(RS485, R"("GW0001")", R"("GW0088")"));
  EXPECT_EQ(RowsOf(RS485).at(0).at("DeviceID"), "GW0001");
}

TEST_F(MeterRecords, AnIdentityLongerThanItsFieldIsReportedAndTheRecordRefused) {
  for (const SourceKind kind : {RS232, SNMP}) {
    const std::string out =
        Ingest(kind == RS232 ? 7 : 9, Replaced(kind, R"("SITE01")", '"' + std::string(600, 'S') + '"'));
    EXPECT_NE(errors_.find("600 bytes is cut to the 511 bytes"), std::string::npos) << errors_;
    EXPECT_NE(out.find("Failure: Fail to write "), std::string::npos) << out;
    EXPECT_EQ(RowsOf(kind).size(), 0U);
  }
}

// The meter index is one-based in the payload; the RS-485 row shows the place in the table.
TEST_F(MeterRecords, TheRs485RowHasTheZeroBasedMeterIndex) {
  std::string payload = kExamplePayloads[RS485];
  Ingest(4, payload.replace(0, 1, "12"));
  EXPECT_EQ(RowsOf(RS485).at(0).at("MeterIndex"), "11");
}

}  // namespace
}  // namespace datacollector
