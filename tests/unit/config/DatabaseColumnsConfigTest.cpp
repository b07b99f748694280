#include <gtest/gtest.h>

#include <string>

#include "unit/config/DatabaseColumnsTest.h"

namespace datacollector {
namespace {

TEST_F(DatabaseColumns, TheTemperatureStatusReplacesTheDioStatus) {
  Enable(DIO);
  Enable(TEMPERATURE);
  WriteFile(DIO, "DITxStatus = 0;");
  WriteFile(TEMPERATURE, "TemperatureTxStatus = 5;");
  const Reading reading = ReadUpdateConfig();
  EXPECT_EQ(ParamsOf(DIO).ui16_TxStatus, 5);
  EXPECT_EQ(ParamsOf(TEMPERATURE).ui16_TxStatus, 0);
  EXPECT_NE(reading.out.find("value at setting in TemperatureTxStatus in " + Path(TEMPERATURE) + " file=0\n"),
            std::string::npos)
      << reading.out;
}

TEST_F(DatabaseColumns, AnUnquotedNumberOfRegistersIsMissing) {
  Enable(RS485);
  WriteFile(RS485, "NoOfRegisters = 3;");
  const Reading reading = ReadUpdateConfig();
  EXPECT_TRUE(ParamsOf(RS485).i8_NoOfRegisters.empty());
  EXPECT_NE(reading.out.find("No 'NoOfRegisters' setting in " + Path(RS485) + " file\n"), std::string::npos)
      << reading.out;
}

TEST_F(DatabaseColumns, AFourthRegisterIsIgnored) {
  Enable(RS485);
  WriteFile(RS485, R"(NoOfRegisters = "4"; EMeterREG4 = "REG4";)");
  const Reading reading = ReadUpdateConfig();
  EXPECT_EQ(reading.out.find("EMeterREG4"), std::string::npos) << reading.out;
}

TEST_F(DatabaseColumns, TheFourthRs485LineAloneHasColumnsByName) {
  EnableLine(RS485, 3);
  WriteFile(RS485, "TableName = \"RS485_table\";");
  ReadUpdateConfig();
  EXPECT_STREQ(ParamsOf(RS485).i8_TableName.c_str(), "RS485_table");
}

TEST_F(DatabaseColumns, AMissingKeyLeavesItsFieldAndIsReported) {
  Enable(AIO);
  ParamsOf(AIO).i8_TableName.Assign("old");
  ParamsOf(AIO).ui16_MaxReadTry = 3;
  const Reading reading = ReadUpdateConfig();
  EXPECT_STREQ(ParamsOf(AIO).i8_TableName.c_str(), "old");
  EXPECT_EQ(ParamsOf(AIO).ui16_MaxReadTry, 3);
  EXPECT_NE(reading.out.find("No 'TableName' setting in " + Path(AIO) + " file\n"), std::string::npos);
  EXPECT_NE(reading.out.find("No 'AIMaxReadTry' setting in " + Path(AIO) + " file\n"), std::string::npos);
}

TEST_F(DatabaseColumns, AMissingSnmpKeyIsReportedInSnmpsWords) {
  Enable(SNMP);
  const Reading reading = ReadUpdateConfig();
  EXPECT_NE(reading.out.find("\nSNMP No 'DatabaseName' setting in " + Path(SNMP) + " file\n"),
            std::string::npos)
      << reading.out;
  EXPECT_EQ(reading.out.find("\nNo '"), std::string::npos) << reading.out;
}

TEST_F(DatabaseColumns, ADisabledKindIsNotLookedUp) {
  WriteFile(AIO, "TableName = \"AIO_table\";");
  Sources().i32_No_Of_Sources = 3;
  const Reading reading = ReadUpdateConfig();
  EXPECT_EQ(reading.out, Traced("DatabaseColumnsConfig.cpp", "ReadDataCollectorDBCtrlUpdateConfig", ""));
  EXPECT_TRUE(ParamsOf(AIO).i8_TableName.empty());
}

TEST_F(DatabaseColumns, UnreadableFilesAreReportedAndReadingGoesOn) {
  Enable(AIO);
  Enable(SNMP);
  WriteFile(AIO, "TableName = \"AIO_table\";\nAIMaxReadTry = ;\n");
  WriteFile(SNMP, "TableName = \"SNMP_table\";");
  const Reading reading = ReadUpdateConfig();
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, Path(AIO) + ":2 - syntax error\n");
  EXPECT_TRUE(ParamsOf(AIO).i8_TableName.empty());
  EXPECT_STREQ(ParamsOf(SNMP).i8_TableName.c_str(), "SNMP_table");
}

TEST_F(DatabaseColumns, LongTextsAreCutAndReported) {
  Enable(RS485);
  const std::string column(500, 'c');
  const std::string registerName(50, 'r');
  WriteFile(RS485, "TableName = \"" + column + "\"; EMeterRS485MeterID = \"" + column +
                       "x\"; EMeterREG1 = \"" + registerName + "\"; EMeterREG2 = \"" + registerName + "x\";");
  const Reading reading = ReadUpdateConfig();
  EXPECT_EQ(ParamsOf(RS485).i8_TableName.view(), column);
  EXPECT_EQ(ParamsOf(RS485).i8_MeterID.view(), column);
  EXPECT_EQ(ParamsOf(RS485).i8_EMeterREG[0].view(), registerName);
  EXPECT_EQ(ParamsOf(RS485).i8_EMeterREG[1].view(), registerName);
  EXPECT_EQ(reading.err, "'EMeterRS485MeterID' in " + Path(RS485) +
                             " file is longer than 500 characters and was cut\n"
                             "'EMeterREG2' in " +
                             Path(RS485) + " file is longer than 50 characters and was cut\n");
}

TEST_F(DatabaseColumns, NumbersKeepTheirLowSixteenBits) {
  Enable(RS232);
  WriteFile(RS232, "EMeterRS232RecordNumberIndex = 65539; EMeterRS232TxStatus = -1;");
  ReadUpdateConfig();
  EXPECT_EQ(ParamsOf(RS232).ui16_RecordNumberIndex, 3);
  EXPECT_EQ(ParamsOf(RS232).i16_RIDClmnIndex, 3);
  EXPECT_EQ(ParamsOf(RS232).ui16_TxStatus, 65535);
}

}  // namespace
}  // namespace datacollector
