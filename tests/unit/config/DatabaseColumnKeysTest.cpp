// Every key of every kind, in the order in which it is read.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/config/DatabaseColumnsTest.h"

namespace datacollector {
namespace {

class DatabaseColumnKeys : public DatabaseColumns {
 protected:
  std::string Found(SourceKind kind, const std::string& key, const std::string& value) const {
    return "value at setting in " + key + " in " + Path(kind) + " file=" + value + "\n";
  }

  // Writes a file in which every listed key has a value of its own, reads it, and expects these echoes in
  // this order. A key that ends in one of the number words is a number.
  void ExpectKeys(SourceKind kind, const std::vector<std::string>& keys, const std::string& word = "") {
    Enable(kind);
    std::string text;
    std::string out;
    int number = 300;
    for (const std::string& key : keys) {
      const bool isNumber =
          key.ends_with("Index") || key.ends_with("MaxReadTry") || key.ends_with("TxStatus");
      const std::string value = isNumber ? std::to_string(++number) : "value of " + key;
      text += key + " = " + (isNumber ? value : '"' + value + '"') + ";\n";
      if (key.find("EMeterREG") != std::string::npos) {
        out += "Prepared String for Register Read=" + key + "\n";
      }
      const bool isUnchanged = key == "TemperatureTxStatus";
      out += word + Found(kind, key, isUnchanged ? "0" : value);
    }
    WriteFile(kind, text);
    const Reading reading = ReadUpdateConfig();
    EXPECT_EQ(reading.result, 0);
    EXPECT_EQ(reading.err, "");
    EXPECT_EQ(reading.out, Traced("DatabaseColumnsConfig.cpp", "ReadDataCollectorDBCtrlUpdateConfig", out));
  }

  // What every kind has, with the kind's key prefix and its word for a time column.
  void ExpectCommonTexts(SourceKind kind, const std::string& prefix, const std::string& time) {
    const DatabaseParams& params = ParamsOf(kind);
    const auto value = [&prefix](const std::string& key) { return "value of " + prefix + key; };
    EXPECT_STREQ(params.i8_DatabaseName.c_str(), "value of DatabaseName");
    EXPECT_STREQ(params.i8_TableName.c_str(), "value of TableName");
    EXPECT_EQ(params.i8_RequestIdColumn.view(), value("RequestIdColumn"));
    EXPECT_EQ(params.i8_RecordIDColumn.view(), value("RecordIDColumn"));
    EXPECT_EQ(params.i8_RecordWriteTimeColumn.view(), value("RecordWrite" + time + "Column"));
    EXPECT_EQ(params.i8_RecordReadTimeColumn.view(), value("RecordRead" + time + "Column"));
    EXPECT_EQ(params.i8_TxStatusColumn.view(), value("TxStatusColumn"));
    EXPECT_EQ(params.i8_TxStatusTimeColumn.view(), value("TxStatusTimeColumn"));
    EXPECT_EQ(params.i8_StartMarkColumn.view(), value("StartMarkColumn"));
    EXPECT_EQ(params.i8_EndMarkColumn.view(), value("EndMarkColumn"));
    EXPECT_EQ(params.ui16_RecordNumberIndex, 301);
    EXPECT_EQ(params.ui16_RecordTimeStampIndex, 302);
    EXPECT_EQ(params.ui16_MaxReadTry, 303);
  }
};

TEST_F(DatabaseColumnKeys, ReadsTheAioKeysInOrder) {
  ExpectKeys(AIO, {"DatabaseName", "TableName", "AIRequestIdColumn", "AIRecordTypeColumn", "AIRecordIDColumn",
                   "AIRecordWriteTimestampColumn", "AIRecordReadTimestampColumn", "AITxStatusColumn",
                   "AITxStatusTimeColumn", "AIRecordNumberIndex", "AIRecordTimeStampIndex",
                   "AIStartMarkColumn", "AIEndMarkColumn", "AIValuesColumn", "AIMaxReadTry", "AITxStatus"});
  ExpectCommonTexts(AIO, "AI", "Timestamp");
  EXPECT_STREQ(ParamsOf(AIO).i8_RecordType.c_str(), "value of AIRecordTypeColumn");
  EXPECT_STREQ(ParamsOf(AIO).i8_ValueColumns[0].c_str(), "value of AIValuesColumn");
  EXPECT_EQ(ParamsOf(AIO).ui16_TxStatus, 304);
  EXPECT_EQ(ParamsOf(AIO).i16_RIDClmnIndex, 0);
}

TEST_F(DatabaseColumnKeys, ReadsTheDioKeysInOrder) {
  ExpectKeys(DIO, {"DatabaseName",
                   "TableName",
                   "DIRequestIdColumn",
                   "DIRecordIDColumn",
                   "DIRecordWriteTimeColumn",
                   "DIRecordReadTimeColumn",
                   "DITxStatusColumn",
                   "DITxStatusTimeColumn",
                   "DIRecordNumberIndex",
                   "DIRecordTimeStampIndex",
                   "DIStartMarkColumn",
                   "DIEndMarkColumn",
                   "DI1Column",
                   "DI2Column",
                   "DI3Column",
                   "DI4Column",
                   "DO1Column",
                   "DO2Column",
                   "DIMaxReadTry",
                   "DITxStatus",
                   "DIRecordType"});
  ExpectCommonTexts(DIO, "DI", "Time");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[0].c_str(), "value of DI1Column");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[1].c_str(), "value of DI2Column");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[2].c_str(), "value of DI3Column");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[3].c_str(), "value of DI4Column");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[4].c_str(), "value of DO1Column");
  EXPECT_STREQ(ParamsOf(DIO).i8_ValueColumns[5].c_str(), "value of DO2Column");
  EXPECT_EQ(ParamsOf(DIO).ui16_TxStatus, 304);
  EXPECT_STREQ(ParamsOf(DIO).i8_RecordType.c_str(), "value of DIRecordType");
}

TEST_F(DatabaseColumnKeys, ReadsTheTemperatureKeysInOrder) {
  ExpectKeys(
      TEMPERATURE,
      {"DatabaseName", "TableName", "TemperatureRequestIdColumn", "TemperatureRecordIDColumn",
       "TemperatureRecordWriteTimeColumn", "TemperatureRecordReadTimeColumn", "TemperatureTxStatusColumn",
       "TemperatureTxStatusTimeColumn", "TemperatureRecordNumberIndex", "TemperatureRecordTimeStampIndex",
       "TemperatureStartMarkColumn", "TemperatureEndMarkColumn", "Temperature1Column", "Temperature2Column",
       "Temperature3Column", "TemperatureMaxReadTry", "TemperatureTxStatus", "TemperatureRecordType"});
  ExpectCommonTexts(TEMPERATURE, "Temperature", "Time");
  EXPECT_STREQ(ParamsOf(TEMPERATURE).i8_ValueColumns[0].c_str(), "value of Temperature1Column");
  EXPECT_STREQ(ParamsOf(TEMPERATURE).i8_ValueColumns[1].c_str(), "value of Temperature2Column");
  EXPECT_STREQ(ParamsOf(TEMPERATURE).i8_ValueColumns[2].c_str(), "value of Temperature3Column");
  EXPECT_STREQ(ParamsOf(TEMPERATURE).i8_RecordType.c_str(), "value of TemperatureRecordType");
}

TEST_F(DatabaseColumnKeys, ReadsTheRs485KeysInOrder) {
  ExpectKeys(RS485, {"DatabaseName",
                     "TableName",
                     "EMeterRS485RequestIdColumn",
                     "EMeterRS485RecordIDColumn",
                     "EMeterRS485RecordWriteTimestampColumn",
                     "EMeterRS485RecordReadTimestampColumn",
                     "EMeterRS485TxStatusColumn",
                     "EMeterRS485TxStatusTimeColumn",
                     "EMeterRS485RecordNumberIndex",
                     "EMeterRS485RecordTimeStampIndex",
                     "EMeterRS485StartMarkColumn",
                     "EMeterRS485EndMarkColumn",
                     "EMeterRS485RS485InterfaceId",
                     "EMeterRS485MeterID",
                     "EMeterRS485MeterIndexColumn",
                     "EMeterRS485MeterModel",
                     "EMeterRS485MeterType",
                     "EMeterRS485SlaveID",
                     "EMeterRS485CommIP",
                     "EMeterRS485ResponseCodeColumn",
                     "StartingRS485RegisterAddress",
                     "FunctionCodeUsed",
                     "NoOfRegisters",
                     "RecordType",
                     "EMeterREG1",
                     "EMeterREG2",
                     "EMeterREG3",
                     "EMeterRS485MaxReadTry",
                     "EMeterRS485TxStatus"});
  ExpectCommonTexts(RS485, "EMeterRS485", "Timestamp");
  const DatabaseParams& params = ParamsOf(RS485);
  EXPECT_STREQ(params.i8_InterfaceId.c_str(), "value of EMeterRS485RS485InterfaceId");
  EXPECT_STREQ(params.i8_MeterID.c_str(), "value of EMeterRS485MeterID");
  EXPECT_STREQ(params.i8_MeterIndexColumn.c_str(), "value of EMeterRS485MeterIndexColumn");
  EXPECT_STREQ(params.i8_MeterModel.c_str(), "value of EMeterRS485MeterModel");
  EXPECT_STREQ(params.i8_MeterType.c_str(), "value of EMeterRS485MeterType");
  EXPECT_STREQ(params.i8_SlaveID.c_str(), "value of EMeterRS485SlaveID");
  EXPECT_STREQ(params.i8_CommIP.c_str(), "value of EMeterRS485CommIP");
  EXPECT_STREQ(params.i8_ResponseCodeColumn.c_str(), "value of EMeterRS485ResponseCodeColumn");
  EXPECT_STREQ(params.i8_StartingRegisterAddress.c_str(), "value of StartingRS485RegisterAddress");
  EXPECT_STREQ(params.i8_FunctionCodeUsed.c_str(), "value of FunctionCodeUsed");
  EXPECT_STREQ(params.i8_NoOfRegisters.c_str(), "value of NoOfRegisters");
  EXPECT_STREQ(params.i8_RecordType.c_str(), "value of RecordType");
  EXPECT_STREQ(params.i8_EMeterREG[0].c_str(), "value of EMeterREG1");
  EXPECT_STREQ(params.i8_EMeterREG[1].c_str(), "value of EMeterREG2");
  EXPECT_STREQ(params.i8_EMeterREG[2].c_str(), "value of EMeterREG3");
  EXPECT_EQ(params.ui16_TxStatus, 304);
  EXPECT_EQ(params.i16_RIDClmnIndex, 301);
}

TEST_F(DatabaseColumnKeys, ReadsTheRs232KeysInOrder) {
  ExpectKeys(RS232, {"DatabaseName",
                     "TableName",
                     "EMeterRS232RequestIdColumn",
                     "EMeterRS232RecordIDColumn",
                     "EMeterRS232RecordWriteTimestampColumn",
                     "EMeterRS232RecordReadTimestampColumn",
                     "EMeterRS232TxStatusColumn",
                     "EMeterRS232TxStatusTimeColumn",
                     "EMeterRS232RecordNumberIndex",
                     "EMeterRS232RecordTimeStampIndex",
                     "EMeterRS232StartMarkColumn",
                     "EMeterRS232EndMarkColumn",
                     "EMeterRS232InterfaceId",
                     "EMeterRS232MeterID",
                     "EMeterRS232MeterModel",
                     "EMeterRS232MeterType",
                     "EMeterRS232SlaveID",
                     "EMeterRS232ResponseCodeColumn",
                     "StartingRS232RegisterAddress",
                     "FunctionCodeUsed",
                     "NoOfRegisters",
                     "RecordType",
                     "RS232EMeterREG1",
                     "RS232EMeterREG2",
                     "RS232EMeterREG3",
                     "EMeterRS232MaxReadTry",
                     "EMeterRS232TxStatus"});
  ExpectCommonTexts(RS232, "EMeterRS232", "Timestamp");
  const DatabaseParams& params = ParamsOf(RS232);
  EXPECT_STREQ(params.i8_InterfaceId.c_str(), "value of EMeterRS232InterfaceId");
  EXPECT_STREQ(params.i8_MeterID.c_str(), "value of EMeterRS232MeterID");
  EXPECT_STREQ(params.i8_MeterModel.c_str(), "value of EMeterRS232MeterModel");
  EXPECT_STREQ(params.i8_MeterType.c_str(), "value of EMeterRS232MeterType");
  EXPECT_STREQ(params.i8_SlaveID.c_str(), "value of EMeterRS232SlaveID");
  EXPECT_STREQ(params.i8_ResponseCodeColumn.c_str(), "value of EMeterRS232ResponseCodeColumn");
  EXPECT_STREQ(params.i8_StartingRegisterAddress.c_str(), "value of StartingRS232RegisterAddress");
  EXPECT_STREQ(params.i8_FunctionCodeUsed.c_str(), "value of FunctionCodeUsed");
  EXPECT_STREQ(params.i8_NoOfRegisters.c_str(), "value of NoOfRegisters");
  EXPECT_STREQ(params.i8_RecordType.c_str(), "value of RecordType");
  EXPECT_STREQ(params.i8_EMeterREG[0].c_str(), "value of RS232EMeterREG1");
  EXPECT_STREQ(params.i8_EMeterREG[1].c_str(), "value of RS232EMeterREG2");
  EXPECT_STREQ(params.i8_EMeterREG[2].c_str(), "value of RS232EMeterREG3");
  EXPECT_EQ(params.ui16_TxStatus, 304);
  EXPECT_EQ(params.i16_RIDClmnIndex, 301);
}

TEST_F(DatabaseColumnKeys, ReadsTheSnmpKeysInOrderAndSaysSnmp) {
  ExpectKeys(SNMP,
             {"DatabaseName",
              "TableName",
              "SNMPRequestIdColumn",
              "SNMPRecordIDColumn",
              "SNMPRecordWriteTimestampColumn",
              "SNMPRecordReadTimestampColumn",
              "SNMPTxStatusColumn",
              "SNMPTxStatusTimeColumn",
              "SNMPRecordNumberIndex",
              "SNMPRecordTimeStampIndex",
              "SNMPStartMarkColumn",
              "SNMPEndMarkColumn",
              "SNMPInterfaceId",
              "SNMPID",
              "SNMPDeviceName",
              "SNMPDeviceType",
              "SNMPDeviceIPAddress",
              "SNMPDevicePortNumber",
              "SNMPDeviceResponseCode",
              "RecordType",
              "SNMPStartMark",
              "SNMPData",
              "SNMPEndMark",
              "SNMPMaxReadTry",
              "SNMPTxStatus"},
             "SNMP ");
  ExpectCommonTexts(SNMP, "SNMP", "Timestamp");
  const DatabaseParams& params = ParamsOf(SNMP);
  EXPECT_STREQ(params.i8_InterfaceId.c_str(), "value of SNMPInterfaceId");
  EXPECT_STREQ(params.i8_MeterID.c_str(), "value of SNMPID");
  EXPECT_STREQ(params.i8_MeterModel.c_str(), "value of SNMPDeviceName");
  EXPECT_STREQ(params.i8_MeterType.c_str(), "value of SNMPDeviceType");
  EXPECT_STREQ(params.i8_CommIP.c_str(), "value of SNMPDeviceIPAddress");
  EXPECT_STREQ(params.i8_PortNumber.c_str(), "value of SNMPDevicePortNumber");
  EXPECT_STREQ(params.i8_ResponseCodeColumn.c_str(), "value of SNMPDeviceResponseCode");
  EXPECT_STREQ(params.i8_RecordType.c_str(), "value of RecordType");
  EXPECT_STREQ(params.i8_SNMPStartMark.c_str(), "value of SNMPStartMark");
  EXPECT_STREQ(params.i8_SNMPData.c_str(), "value of SNMPData");
  EXPECT_STREQ(params.i8_SNMPEndMark.c_str(), "value of SNMPEndMark");
  EXPECT_EQ(params.ui16_TxStatus, 304);
  EXPECT_EQ(params.i16_RIDClmnIndex, 301);
}

}  // namespace
}  // namespace datacollector
