#include <gtest/gtest.h>

#include <string>

#include "app/NotAvailableRecords.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class NotAvailable : public ::testing::Test {
 protected:
  NotAvailable() {
    ZeroMainState(gMainState);
    ZeroFlags();
    struct DataCollectorSiteConfig& site = gMainState.DataCollectorSiteConfig;
    site.DeviceIDEnable = 1;
    site.DeviceID = "GW0001";
    site.FailureDataCharacter = "F";
    site.Maxnumberofregister = 2;
  }
  ~NotAvailable() override {
    ZeroMainState(gMainState);
    ZeroFlags();
  }

  static std::string Traced(const std::string& function, const std::string& text) {
    return datacollector::Traced(
        "NotAvailableRecords.cpp", function,
        " \n\n\n ************************ Entering " + function + " ************************\n" + text);
  }

  static std::string LineAndMeter(int line, int meter) {
    return " \n\n\n ************************ Line ID = " + std::to_string(line) +
           ", Meter ID = " + std::to_string(meter) + " ************************\n\n";
  }
  static std::string Stored(const std::string& word, const std::string& record) {
    return "na i8_" + word + "Record = |" + record + "|\nna i8_" + word + "Record Length = <" +
           std::to_string(record.size()) + ">\n";
  }

  static void SetRegisters(std::int32_t count) {
    gMainState.DataCollectorSiteConfig.Maxnumberofregister = count;
  }

  static std::string PackRs485(std::size_t line, std::size_t meter) {
    CapturedOutput output;
    PackRS485NaData(line, meter);
    return WithoutLineNumbers(output.Out());
  }
  static std::string PackRs232(std::size_t line, std::size_t meter) {
    CapturedOutput output;
    PackRS232NaData(line, meter);
    return WithoutLineNumbers(output.Out());
  }

  DataCollectorDBData& data_ = gMainState.DataCollectorDBData;
};

TEST_F(NotAvailable, AnAioRecordHasThePlaceholdersOfItsModule) {
  AppDataReqFlags.At(AIO).gi32_ReqId = 12;
  const std::string record = R"("<","M417",0,12,99,99.99,99.99,"0",0,"0",">")";
  CapturedOutput output;
  PackAIONaData();
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("PackAIONaData", "i8_TempStr = |" + record + "|\n" + Stored("AIO", record)));
  EXPECT_EQ(data_.i8_IoRecord[AIO].view(), record);
}

TEST_F(NotAvailable, ADioRecordHasThePlaceholdersOfItsModule) {
  AppDataReqFlags.At(DIO).gi32_ReqId = 13;
  const std::string record = R"("<","AI2DI2DO2_VT480",0,13,99,9,9,"0",0,"0",">")";
  CapturedOutput output;
  PackDIONaData();
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            Traced("PackDIONaData", "i8_TempStr = |" + record + "|\n" + Stored("DIO", record)));
  EXPECT_EQ(data_.i8_IoRecord[DIO].view(), record);
}

TEST_F(NotAvailable, ATemperatureRecordCarriesTheDioModulesModel) {
  AppDataReqFlags.At(TEMPERATURE).gi32_ReqId = -14;
  const std::string record = R"("<","AI2DI2DO2_VT480",0,-14,99,9,9,"0",0,"0",">")";
  CapturedOutput output;
  PackTemperatureNaData();
  EXPECT_EQ(
      WithoutLineNumbers(output.Out()),
      Traced("PackTemperatureNaData", "i8_TempStr = |" + record + "|\n" + Stored("Temperature", record)));
  EXPECT_EQ(data_.i8_IoRecord[TEMPERATURE].view(), record);
}

TEST_F(NotAvailable, AnIoRecordReplacesALongerOne) {
  data_.i8_IoRecord[AIO].Assign(std::string(2999, 'x'));
  CapturedOutput output;
  PackAIONaData();
  EXPECT_EQ(data_.i8_IoRecord[AIO].view(), R"("<","M417",0,0,99,99.99,99.99,"0",0,"0",">")");
  output.Out();
}

TEST_F(NotAvailable, AnRs485RecordHasNoStartMarkAndTheDeviceFirst) {
  AppDataReqFlags.At(RS485, 11, 1).gi32_ReqId = 7;
  const std::string head = R"("GW0001",0,7,2,12,"F","F","F","F","0",)";
  const std::string record = head + R"("F","F","0","0","00:00:00",">")";
  EXPECT_EQ(PackRs485(1, 11), Traced("PackRS485NaData", LineAndMeter(2, 12) + "Before Loop = " + head +
                                                            "\nConcatenated RS485 String=" + record + "\n" +
                                                            Stored("RS485", record)));
  EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 11, 1).view(), record);
  EXPECT_TRUE(data_.i8_MeterRecord.At(RS485, 11, 0).empty());
}

TEST_F(NotAvailable, WithoutTheDeviceSwitchTheDeviceIsLeftOut) {
  for (const std::int32_t enable : {0, 2}) {
    gMainState.DataCollectorSiteConfig.DeviceIDEnable = enable;
    PackRs485(0, 0);
    EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 0, 0).view(),
              R"(0,0,1,1,"F","F","F","F","0","F","F","0","0","00:00:00",">")");
    PackRs232(0, 0);
    EXPECT_EQ(data_.i8_MeterRecord.At(RS232, 0).view(),
              R"(0,0,1,1,"F","F","F","F","0","F","F","0","0","00:00:00",">")");
  }
}

TEST_F(NotAvailable, WithoutRegistersTheTailFollowsTheHead) {
  for (const std::int32_t count : {0, -1}) {
    SetRegisters(count);
    PackRs485(0, 0);
    EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 0, 0).view(),
              R"("GW0001",0,0,1,1,"F","F","F","F","0","0","0","00:00:00",">")");
    PackRs232(0, 0);
    EXPECT_EQ(data_.i8_MeterRecord.At(RS232, 0).view(),
              R"("GW0001",0,0,1,1,"F","F","F","F","0","0","0","00:00:00",">")");
  }
}

TEST_F(NotAvailable, MoreRegistersThanThereIsRoomForAreCut) {
  SetRegisters(2147483647);
  const std::string head = R"("GW0001",0,0,1,1,"F","F","F","F","0",)";
  std::string record = head;
  while (record.size() < 4000) {
    record += R"("F",)";
  }
  const std::string out = PackRs485(0, 0);
  EXPECT_NE(out.find("Concatenated RS485 String=" + record.substr(0, 3999) + "\n"), std::string::npos);
  EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 0, 0).view(), record.substr(0, 1999));
  EXPECT_TRUE(data_.i8_MeterRecord.At(RS485, 1, 0).empty());
}

TEST_F(NotAvailable, AnRs232RecordIsCutAt199Characters) {
  SetRegisters(1000);
  std::string record = R"("GW0001",0,0,1,1,"F","F","F","F","0",)";
  while (record.size() < 199) {
    record += R"("F",)";
  }
  record.resize(199);
  EXPECT_NE(PackRs232(0, 0).find("Concatenated RS232 String=" + record + "\n"), std::string::npos);
  EXPECT_EQ(data_.i8_MeterRecord.At(RS232, 0).view(), record);
}

TEST_F(NotAvailable, ALongDeviceLeavesItsRecordCutAndNotOverrun) {
  const std::string device(3000, 'D');
  gMainState.DataCollectorSiteConfig.DeviceID = device.c_str();
  PackRs485(0, 0);
  EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 0, 0).view(), "\"" + device.substr(0, 1998));
  PackRs232(0, 0);
  EXPECT_EQ(data_.i8_MeterRecord.At(RS232, 0).view(), "\"" + device.substr(0, 198));
}

TEST_F(NotAvailable, TextsThatAreNotConfiguredAreEmpty) {
  gMainState.DataCollectorSiteConfig.DeviceID = nullptr;
  gMainState.DataCollectorSiteConfig.FailureDataCharacter = nullptr;
  PackRs485(0, 0);
  EXPECT_EQ(data_.i8_MeterRecord.At(RS485, 0, 0).view(),
            R"("",0,0,1,1,"","","","","0","","","0","0","00:00:00",">")");
}

TEST_F(NotAvailable, AnRs485RecordOfAThirdLineIsBuiltAndDropped) {
  const std::string record = R"("GW0001",0,0,3,1,"F","F","F","F","0","F","F","0","0","00:00:00",">")";
  const std::string out = PackRs485(2, 0);
  EXPECT_NE(out.find("Concatenated RS485 String=" + record + "\n"), std::string::npos) << out;
  EXPECT_EQ(out.find("na i8_"), std::string::npos);
  EXPECT_TRUE(data_.i8_MeterRecord.At(RS485, 0, 0).empty());
  EXPECT_TRUE(data_.i8_MeterRecord.At(RS485, 0, 1).empty());
}

TEST_F(NotAvailable, AnRs232RecordPrintsItsTexts) {
  AppDataReqFlags.At(RS232, 9, 0).gi32_ReqId = 8;
  const std::string head = R"("GW0001",0,8,1,10,"F","F","F","F","0",)";
  const std::string record = head + R"("F","F","0","0","00:00:00",">")";
  EXPECT_EQ(PackRs232(0, 9), Traced("PackRS232NaData", LineAndMeter(1, 10) + "Before Loop = " + head +
                                                           "\nConcatenated RS232 String=" + record + "\n" +
                                                           Stored("RS232", record)));
  EXPECT_EQ(data_.i8_MeterRecord.At(RS232, 9).view(), record);
}

// The request numbers of RS-232 are indexed by the sum of meter and line.
TEST_F(NotAvailable, AnRs232RecordOfASecondLineHasTheNextMetersRequestNumberAndIsDropped) {
  AppDataReqFlags.At(RS232, 0, 0).gi32_ReqId = 4;
  AppDataReqFlags.At(RS232, 1, 0).gi32_ReqId = 5;
  const std::string out = PackRs232(1, 0);
  EXPECT_NE(out.find("Before Loop = \"GW0001\",0,5,2,1,"), std::string::npos) << out;
  EXPECT_EQ(out.find("na i8_"), std::string::npos);
  EXPECT_TRUE(data_.i8_MeterRecord.At(RS232, 0).empty());
  EXPECT_NE(PackRs232(1, 9).find("Before Loop = \"GW0001\",0,0,2,10,"), std::string::npos);
}

}  // namespace
}  // namespace datacollector
