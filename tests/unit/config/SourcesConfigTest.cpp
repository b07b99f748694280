#include <gtest/gtest.h>

#include <string>

#include "config/SourcesConfig.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {
namespace {

constexpr const char* kFile = "SourcesConfig.cpp";

// The five required counts.
std::string Counts(int io, int rs485, int rs232, int snmp) {
  return "NoOfSources = " + std::to_string(io) + ";\nNoOfEMeterRS485DataSources = " + std::to_string(rs485) +
         ";\nNoOfEMeterRS232DataSources = " + std::to_string(rs232) +
         ";\nNoOfSNMPDataSources = " + std::to_string(snmp) + ";\nNoOfDataBases = 6;\n";
}

class SourcesConfig : public ConfigTest {
 protected:
  Reading Read(const std::string& text) {
    path_ = Write("DataSourcesConfig.cfg", text);
    return Captured([&] { return ReadSourcesConfig(*main_, path_.c_str()); });
  }
  std::string Missing(const std::string& key) const {
    return "No '" + key + "' setting in " + path_ + " file\n";
  }

  DataCollectorSourcesConfig& sources_ = main_->DataCollectorSourcesConfig;
  std::string path_;
};

std::string Found(const std::string& key, int value) {
  return key + " = " + key + ", and Value = " + std::to_string(value) + "\n";
}

TEST_F(SourcesConfig, ReadsAndEchoesEveryKeyInOrder) {
  const Reading reading = Read(Counts(1, 1, 1, 1) + R"(
SleepIntervalbetweensuccessiveEnergyMetersInMilliSec = 250;
enablelanmqtt = 1;
AIODataSourceEnable = 1;
AIODataSourcePerPublishInterval = 60;
EMeterRS485Line1DataSourceEnable = 1;
EMeterRS485Line1DataSourcePerPublishInterval = 61;
NoOfEMetersInLine1 = 4;
EMeterRS232Line1DataSourceEnable = 1;
EMeterRS232Line1DataSourcePerPublishInterval = 62;
NoOfRS232EMetersInLine1 = 2;
SNMPLine1DataSourceEnable = 1;
SNMPLine1DataSourcePerPublishInterval = 63;
NoOfSNMPDevicesInLine1 = 3;
)");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, "");
  const std::string kindName = Traced("GenericFunctions.cpp", "SourceKindName", "");
  EXPECT_EQ(
      reading.out,
      Traced(
          kFile, "ReadSourcesConfig",
          "psDataCollectorMainStructure->psDataCollectorSourcesConfig.i32_No_Of_Sources = 1\n" +
              Found("NoOfEMeterRS485DataSources", 1) + Found("NoOfEMeterRS232DataSources", 1) +
              Found("NoOfSNMPDataSources", 1) +
              "psDataCollectorSourcesConfig.DataBases = 6\n"
              "INTERVAL_BETWEEN_EACH_METER_READ = "
              "SleepIntervalbetweensuccessiveEnergyMetersInMilliSec, and Value = 250\n"
              "MQTT Over LAN = enablelanmqtt, and Value = 1\n" +
              kindName + "QUERY STRING = AIODataSourceEnable\n" + Found("AIODataSourceEnable", 1) +
              "QUERY STRING = EMeterRS485Line1DataSourceEnable\n" +
              Found("EMeterRS485Line1DataSourceEnable", 1) + "Prepared String to Query = NoOfEMetersInLine1" +
              Found("NoOfEMetersInLine1", 4) +
              "RS232 Enable QUERY STRING = EMeterRS232Line1DataSourceEnable\n" +
              Found("EMeterRS232Line1DataSourceEnable", 1) +
              "RS232 publish interval QUERY STRING = EMeterRS232Line1DataSourcePerPublishInterval\n" +
              Found("EMeterRS232Line1DataSourcePerPublishInterval", 62) +
              "Prepared String to Query RS232= NoOfRS232EMetersInLine1" +
              Found("NoOfRS232EMetersInLine1", 2) + "SNMP Enable QUERY STRING = SNMPLine1DataSourceEnable\n" +
              Found("SNMPLine1DataSourceEnable", 1) +
              "SNMP publish interval QUERY STRING = SNMPLine1DataSourcePerPublishInterval\n" +
              Found("SNMPLine1DataSourcePerPublishInterval", 63) +
              "Prepared String to Query SNMP= NoOfSNMPDevicesInLine1" + Found("NoOfSNMPDevicesInLine1", 3) +
              kindName + "QUERY STRING = AIODataSourcePerPublishInterval\n" +
              Found("AIODataSourcePerPublishInterval", 60) +
              "QUERY STRING = EMeterRS485Line1DataSourcePerPublishInterval\n" +
              Found("EMeterRS485Line1DataSourcePerPublishInterval", 61)));

  EXPECT_EQ(sources_.i32_No_Of_Sources, 1);
  EXPECT_EQ(sources_.i32_No_Of_RS485Sources, 1);
  EXPECT_EQ(sources_.i32_No_Of_RS232Sources, 1);
  EXPECT_EQ(sources_.i32_No_Of_SNMPSources, 1);
  EXPECT_EQ(sources_.DataBases, 6);
  EXPECT_EQ(main_->ui16_MeterReadSleepInterval, 250);
  EXPECT_EQ(sources_.i32_EnableLanMqtt, 1);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesPublishInterval[AIO][0], 60);
  EXPECT_EQ(sources_.i32_DataSourcesRS485EnableFlags[0][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesRS485PublishInterval[0][0], 61);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 4);
  EXPECT_EQ(sources_.i32_DataSourcesRS232EnableFlags[0][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesRS232PublishInterval[0][0], 62);
  EXPECT_EQ(sources_.i32_NoOfRS232EMetersInLine[0], 2);
  EXPECT_EQ(sources_.i32_DataSourcesSNMPEnableFlags[0][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesSNMPPublishInterval[0][0], 63);
  EXPECT_EQ(sources_.i32_NoOfSNMPDevicesInLine[0], 3);
}

TEST_F(SourcesConfig, FailsWhenTheFileIsMissing) {
  const std::string path = PathOf("missing.cfg");
  const Reading reading = Captured([&] { return ReadSourcesConfig(*main_, path.c_str()); });
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadSourcesConfig", ""));
  EXPECT_EQ(reading.err, path + ":0 - file I/O error\n");
}

TEST_F(SourcesConfig, FailsOnASyntaxErrorWithoutReadingWhatStandsBeforeIt) {
  const Reading reading = Read("NoOfSources = 3;\nNoOfDataBases = ;\n");
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.err, path_ + ":2 - syntax error\n");
  EXPECT_EQ(sources_.i32_No_Of_Sources, 0);
}

TEST_F(SourcesConfig, FailsOnADirectory) {
  const std::string path = PathOf("");
  const Reading reading = Captured([&] { return ReadSourcesConfig(*main_, path.c_str()); });
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.err, path + ":0 - file I/O error\n");
}

TEST_F(SourcesConfig, EndsAtTheFirstMissingCountAndKeepsThoseBefore) {
  const Reading reading = Read(
      "NoOfSources = 3; NoOfEMeterRS485DataSources = 4; NoOfSNMPDataSources = 1; NoOfDataBases = 6;"
      "enablelanmqtt = 1; AIODataSourceEnable = 1;");
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadSourcesConfig",
                   "psDataCollectorMainStructure->psDataCollectorSourcesConfig.i32_No_Of_Sources = 3\n" +
                       Found("NoOfEMeterRS485DataSources", 4) + Missing("NoOfEMeterRS232DataSources")));
  EXPECT_EQ(sources_.i32_No_Of_Sources, 3);
  EXPECT_EQ(sources_.i32_No_Of_RS485Sources, 4);
  EXPECT_EQ(sources_.i32_No_Of_SNMPSources, 0);
  EXPECT_EQ(sources_.i32_EnableLanMqtt, 0);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 0);
}

TEST_F(SourcesConfig, RequiresEveryCount) {
  const std::string counts = Counts(1, 1, 1, 1);
  for (const std::string key :
       {"NoOfSources", "NoOfEMeterRS232DataSources", "NoOfSNMPDataSources", "NoOfDataBases"}) {
    std::string text = counts;
    text.replace(text.find(key + " ="), key.size(), "Other");
    const Reading reading = Read(text);
    EXPECT_EQ(reading.result, -1) << key;
    EXPECT_NE(reading.out.find(Missing(key)), std::string::npos) << reading.out;
  }
}

TEST_F(SourcesConfig, ReportsAMissingRs485CountUnderTheFirstCountsKey) {
  const Reading reading = Read("NoOfSources = 3; NoOfEMeterRS232DataSources = 1; NoOfSNMPDataSources = 1;");
  EXPECT_EQ(reading.result, -1);
  EXPECT_NE(reading.out.find(Missing("NoOfSources")), std::string::npos) << reading.out;
  EXPECT_EQ(reading.out.find("NoOfEMeterRS485DataSources"), std::string::npos) << reading.out;
}

TEST_F(SourcesConfig, ReportsMissingOptionalKeysAndGoesOn) {
  const Reading reading = Read(Counts(1, 0, 0, 0));
  EXPECT_EQ(reading.result, 0);
  const std::string kindName = Traced("GenericFunctions.cpp", "SourceKindName", "");
  const std::string tail =
      Missing("SleepIntervalbetweensuccessiveEnergyMetersInMilliSec") + Missing("enablelanmqtt") + kindName +
      "QUERY STRING = AIODataSourceEnable\n" + Missing("AIODataSourceEnable") + kindName +
      "QUERY STRING = AIODataSourcePerPublishInterval\n" + Missing("AIODataSourcePerPublishInterval");
  EXPECT_NE(reading.out.find(tail), std::string::npos) << reading.out;
}

TEST_F(SourcesConfig, KeepsTheFieldOfAMissingKey) {
  sources_.i32_DataSourcesEnableFlags[AIO][0] = 7;
  Read(Counts(1, 0, 0, 0));
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 7);
}

TEST_F(SourcesConfig, IgnoresNumbersOfAnotherType) {
  const Reading reading = Read(Counts(1, 0, 0, 0) + "AIODataSourceEnable = \"1\"; enablelanmqtt = 1.0;");
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 0);
  EXPECT_EQ(sources_.i32_EnableLanMqtt, 0);
  EXPECT_NE(reading.out.find(Missing("AIODataSourceEnable")), std::string::npos) << reading.out;
}

TEST_F(SourcesConfig, TwoSourcesLeaveTemperatureDisabled) {
  const Reading reading =
      Read(Counts(2, 0, 0, 0) +
           "AIODataSourceEnable = 1; DIODataSourceEnable = 1; TEMPERATUREDataSourceEnable = 1;");
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[DIO][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[TEMPERATURE][0], 0);
  EXPECT_EQ(reading.out.find("TEMPERATURE"), std::string::npos) << reading.out;
}

TEST_F(SourcesConfig, TheFourthSourceHasTheBareKeys) {
  Read(Counts(4, 0, 0, 0) +
       "TEMPERATUREDataSourceEnable = 1; DataSourceEnable = 5; DataSourcePerPublishInterval = 9;");
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[TEMPERATURE][0], 1);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[3][0], 5);
  EXPECT_EQ(sources_.i32_DataSourcesPublishInterval[3][0], 9);
}

TEST_F(SourcesConfig, FillsOnlyTheFirstColumn) {
  Read(Counts(1, 1, 0, 0) + "AIODataSourceEnable = 1; EMeterRS485Line1DataSourcePerPublishInterval = 60;");
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][1], 0);
  EXPECT_EQ(sources_.i32_DataSourcesRS485PublishInterval[0][1], 0);
}

TEST_F(SourcesConfig, NumbersLinesFromOne) {
  Read(Counts(0, 4, 0, 0) +
       "EMeterRS485Line4DataSourceEnable = 1; NoOfEMetersInLine4 = 9;"
       "EMeterRS485Line4DataSourcePerPublishInterval = 90;");
  EXPECT_EQ(sources_.i32_DataSourcesRS485EnableFlags[3][0], 1);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[3], 9);
  EXPECT_EQ(sources_.i32_DataSourcesRS485PublishInterval[3][0], 90);
}

TEST_F(SourcesConfig, TheSecondRs232LinesMetersStandInTheSnmpLinesPlace) {
  const Reading reading = Read(Counts(0, 0, 2, 0) +
                               "NoOfRS232EMetersInLine1 = 2; NoOfRS232EMetersInLine2 = 5;"
                               "EMeterRS232Line2DataSourceEnable = 1;"
                               "EMeterRS232Line2DataSourcePerPublishInterval = 30;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(sources_.i32_NoOfRS232EMetersInLine[0], 2);
  EXPECT_EQ(sources_.i32_NoOfSNMPDevicesInLine[0], 5);
  EXPECT_EQ(sources_.i32_DataSourcesRS232EnableFlags[0][1], 0);
  EXPECT_NE(reading.out.find(Found("EMeterRS232Line2DataSourceEnable", 1)), std::string::npos);
  EXPECT_EQ(reading.err, "'EMeterRS232Line2DataSourceEnable' in " + path_ +
                             " file is dropped, there is no room for line 2\n"
                             "'EMeterRS232Line2DataSourcePerPublishInterval' in " +
                             path_ + " file is dropped, there is no room for line 2\n");
}

TEST_F(SourcesConfig, AnSnmpLineReplacesTheSecondRs232LinesMeters) {
  Read(Counts(0, 0, 2, 1) + "NoOfRS232EMetersInLine2 = 5; NoOfSNMPDevicesInLine1 = 3;");
  EXPECT_EQ(sources_.i32_NoOfSNMPDevicesInLine[0], 3);
}

TEST_F(SourcesConfig, TheSecondSnmpLinesDevicesStandInTheFirstMeterIdentifier) {
  const Reading reading = Read(Counts(0, 0, 0, 2) +
                               "NoOfSNMPDevicesInLine1 = 3; NoOfSNMPDevicesInLine2 = 8;"
                               "SNMPLine2DataSourceEnable = 1;");
  EXPECT_EQ(sources_.i32_NoOfSNMPDevicesInLine[0], 3);
  EXPECT_EQ(sources_.MeterID[0], 8);
  EXPECT_EQ(reading.err,
            "'SNMPLine2DataSourceEnable' in " + path_ + " file is dropped, there is no room for line 2\n");
}

TEST_F(SourcesConfig, LinesBeyondTheTablesAreReportedAndNotRead) {
  const Reading reading = Read(Counts(21, 101, 3, 3) +
                               "NoOfRS232EMetersInLine3 = 5; NoOfSNMPDevicesInLine3 = 6;"
                               "NoOfEMetersInLine100 = 7; NoOfEMetersInLine101 = 8;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[99], 7);
  EXPECT_EQ(sources_.i32_NoOfRS232EMetersInLine[0], 0);
  EXPECT_EQ(sources_.MeterID[0], 0);
  EXPECT_EQ(reading.err, "NoOfSources is 21 in " + path_ +
                             " file, only 20 are read\n"
                             "NoOfEMeterRS485DataSources is 101 in " +
                             path_ +
                             " file, only 100 are read\n"
                             "NoOfEMeterRS232DataSources is 3 in " +
                             path_ +
                             " file, only 2 are read\n"
                             "NoOfSNMPDataSources is 3 in " +
                             path_ + " file, only 2 are read\n");
}

TEST_F(SourcesConfig, AnEleventhRs485LineHasAMeterCountAndNothingElse) {
  const Reading reading = Read(Counts(0, 11, 0, 0) +
                               "EMeterRS485Line11DataSourceEnable = 1; NoOfEMetersInLine11 = 4;"
                               "EMeterRS485Line11DataSourcePerPublishInterval = 60;");
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[10], 4);
  EXPECT_EQ(reading.err, "'EMeterRS485Line11DataSourceEnable' in " + path_ +
                             " file is dropped, there is no room for line 11\n"
                             "'EMeterRS485Line11DataSourcePerPublishInterval' in " +
                             path_ + " file is dropped, there is no room for line 11\n");
}

TEST_F(SourcesConfig, NegativeCountsReadNoLine) {
  const Reading reading = Read(Counts(-1, -1, -1, -1) + "AIODataSourceEnable = 1;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out.find("QUERY STRING"), std::string::npos) << reading.out;
  EXPECT_EQ(reading.err, "");
}

}  // namespace
}  // namespace datacollector
