// The identifiers of the RS-485 meters.

#include <gtest/gtest.h>

#include <string>

#include "config/SourcesConfig.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {
namespace {

class RS485DeviceConfig : public ConfigTest {
 protected:
  Reading Read(const std::string& text) {
    path_ = Write("RS485DeviceConfig.cfg", text);
    return Captured([&] { return ReadRS485DeviceConfig(*main_, path_.c_str()); });
  }
  std::string Missing(const std::string& key) const {
    return "No '" + key + "' setting in " + path_ + " file\n";
  }

  DataCollectorSourcesConfig& sources_ = main_->DataCollectorSourcesConfig;
  std::string path_;
};

TEST_F(RS485DeviceConfig, DevicesReplaceTheMeterCountsOfEveryLine) {
  sources_.i32_No_Of_RS485Sources = 2;
  sources_.i32_NoOfEMetersInLine = {4, 5, 6};
  const Reading reading = Read("NoOfDevices = 1; MeterID_1 = 17;");
  EXPECT_EQ(reading.result, 0);
  const std::string line =
      "NoOfEMetersPerLine = NoOfDevices, and Value = 1\n"
      "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[0] : 17\n";
  EXPECT_EQ(reading.out, line + line);
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 1);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[1], 1);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[2], 6);
  EXPECT_EQ(sources_.MeterID[0], 17);
}

TEST_F(RS485DeviceConfig, WithoutDeviceCountTheEarlierOneStays) {
  sources_.i32_No_Of_RS485Sources = 1;
  sources_.i32_NoOfEMetersInLine = {2};
  const Reading reading = Read("MeterID_1 = 17; MeterID_2 = 18; MeterID_3 = 19;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out.substr(0, Missing("NoOfDevices").size()), Missing("NoOfDevices"));
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 2);
  EXPECT_EQ(sources_.MeterID[0], 17);
  EXPECT_EQ(sources_.MeterID[1], 18);
  EXPECT_EQ(sources_.MeterID[2], 0);
}

TEST_F(RS485DeviceConfig, WithoutDeviceCountEveryLineReadsItsOwnNumberOfIdentifiers) {
  sources_.i32_No_Of_RS485Sources = 2;
  sources_.i32_NoOfEMetersInLine = {2, 1};
  const Reading reading = Read("MeterID_1 = 17; MeterID_2 = 18;");
  const std::string first = "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[0] : 17\n";
  const std::string second = "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[1] : 18\n";
  EXPECT_EQ(reading.out, Missing("NoOfDevices") + first + second + Missing("NoOfDevices") + first);
}

TEST_F(RS485DeviceConfig, AMissingMeterIdentifierKeepsItsOldValue) {
  sources_.i32_No_Of_RS485Sources = 1;
  sources_.MeterID = {1, 2, 3};
  const Reading reading = Read("NoOfDevices = 3; MeterID_1 = 11; MeterID_3 = 13;");
  EXPECT_EQ(reading.out,
            "NoOfEMetersPerLine = NoOfDevices, and Value = 3\n"
            "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[0] : 11\n"
            "No 'MeterID_2' setting in configuration file\n"
            "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[2] : 13\n");
  EXPECT_EQ(sources_.MeterID[0], 11);
  EXPECT_EQ(sources_.MeterID[1], 2);
  EXPECT_EQ(sources_.MeterID[2], 13);
}

TEST_F(RS485DeviceConfig, WithoutRs485LinesNoDeviceKeyIsLookedUp) {
  const Reading reading = Read("NoOfDevices = 3;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, "");
}

TEST_F(RS485DeviceConfig, FailsWhenTheDeviceFileIsMissing) {
  sources_.i32_No_Of_RS485Sources = 1;
  const std::string path = PathOf("missing.cfg");
  const Reading reading = Captured([&] { return ReadRS485DeviceConfig(*main_, path.c_str()); });
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, "");
  EXPECT_EQ(reading.err, path + ":0 - file I/O error\n");
}

TEST_F(RS485DeviceConfig, IdentifiersBeyondTheTableAreReportedAndNotRead) {
  sources_.i32_No_Of_RS485Sources = 1;
  const Reading reading = Read("NoOfDevices = 111; MeterID_110 = 5; MeterID_111 = 6;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(sources_.MeterID[109], 5);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[0][0], 0);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 111);
  EXPECT_EQ(reading.err, "111 meters on a line, only 110 identifiers of " + path_ + " file are read\n");
}

TEST_F(RS485DeviceConfig, NegativeDeviceCountReadsNoIdentifier) {
  sources_.i32_No_Of_RS485Sources = 1;
  const Reading reading = Read("NoOfDevices = -1; MeterID_1 = 5;");
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], -1);
  EXPECT_EQ(sources_.MeterID[0], 0);
  EXPECT_EQ(reading.err, "");
}

}  // namespace
}  // namespace datacollector
