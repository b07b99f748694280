#include "gateway/harness/Kinds.h"

namespace datacollector::gateway {

const std::array<KindFacts, kSourceKinds> kFacts = {{
    {
        .name = "Aio",
        .recordTopic = "IOModule/AIO/Record",
        .packetTopic = "HTTPSend/AIO/Record",
        .statusTopic = "HTTPSend/AIO/Status",
        .controlFile = "AIOPerDatabaseCtrlConfig.cfg",
        .keyPrefix = "AI",
        .enableKey = "AIODataSourceEnable",
        .intervalKey = "AIODataSourcePerPublishInterval",
        .databaseFile = "AIODataCollectorDB.db",
        .table = "AIO_table",
        .payload = R"("<","M417",0,{request},99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")",
        .columns = "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
                   "SourceStartMark,SourceModel,SourceRecordType,SourceRequestID,SourceResponseCode,AI1,AI2,"
                   "SourceTime,TxStatus,TxStatusTime,SourceEndMark,RecordReadTime,EndMark",
        .row = "<|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|<|M417|0|{request}|99|12.34|56.78|"
               "2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,12.34,56.78,0,>",
        .stored = "AIO DataBase written Successfully\n",
        .notStored = "Failure: Fail to write AIO Database\n",
        .updated =
            "Success: UpdateAIDBRecord, record updated, RecordNumber = {number}, TxStatus and TxTimestamp \n",
        .sent = "AIDCDBRecord Number = {number}, published successfully\n",
    },
    {
        .name = "Dio",
        .recordTopic = "IOModule/DIO/Record",
        .packetTopic = "HTTPSend/DIO/Record",
        .statusTopic = "HTTPSend/DIO/Status",
        .controlFile = "DIOPerDatabaseCtrlConfig.cfg",
        .keyPrefix = "DI",
        .enableKey = "DIODataSourceEnable",
        .intervalKey = "DIODataSourcePerPublishInterval",
        .databaseFile = "DIODataCollectorDB.db",
        .table = "DIO_table",
        .payload = R"("<","AI2DI2DO2_VT480",0,{request},99,1,0,"2026-11-20 10:00:00",0,"0",">")",
        .columns = "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
                   "SourceStartMark,SourceModel,SourceRecordType,SourceRequestID,SourceResponseCode,DI1,DI2,"
                   "SourceTime,TxStatus,TxStatusTime,SourceEndMark,RecordReadTime,EndMark",
        .row = "<|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|<|AI2DI2DO2_VT480|0|{request}|99|1|0|"
               "2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,1,0,0,>",
        .stored = "DIO DataBase written Successfully\n",
        .notStored = "Failure: Fail to write DIO Database\n",
        .updated = "Success: UpdateDIODBRecord, record updated, RecordNumber = {number}, TxStatus and "
                   "TxTimestamp \n",
        .sent = "DIODCDBRecord Number = {number}, published successfully\n",
    },
    {
        .name = "Temperature",
        .recordTopic = "IOModule/Temperature/Record",
        .packetTopic = "HTTPSend/Temperature/Record",
        .statusTopic = "HTTPSend/Temperature/Status",
        .controlFile = "TemperaturePerDatabaseCtrlConfig.cfg",
        .keyPrefix = "Temperature",
        .enableKey = "TEMPERATUREDataSourceEnable",
        .intervalKey = "TEMPERATUREDataSourcePerPublishInterval",
        .databaseFile = "TemperatureDataCollectorDB.db",
        .table = "Temperature_table",
        .payload = R"("<","AI2DI2DO2_VT480",0,{request},99,21.5,22.0,"2026-11-20 10:00:00",0,"0",">")",
        .columns = "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
                   "SourceStartMark,SourceModel,SourceRecordType,SourceRequestID,SourceResponseCode,"
                   "Temperature1,Temperature2,SourceTime,TxStatus,TxStatusTime,SourceEndMark,RecordReadTime,"
                   "EndMark",
        .row = "<|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|<|AI2DI2DO2_VT480|0|{request}|99|21.5|"
               "22.0|2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,21.5,22.0,0,>",
        .stored = "Temperature DataBase written Successfully\n",
        .notStored = "Failure: Fail to write TEMPERATURE Database\n",
        .updated = "Success: UpdateTemperatureDBRecord, record updated, RecordNumber = {number}, TxStatus "
                   "and TxTimestamp \n",
        .sent = "TemperatureDCDBRecord Number = {number}, published successfully\n",
    },
    {
        .name = "Rs485",
        .recordTopic = "EnergyMeter/RS485/Record",
        .packetTopic = "HTTPSend/RS485/Record",
        .statusTopic = "HTTPSend/RS485/Status",
        .controlFile = "RS485PerDatabaseCtrlConfig.cfg",
        .keyPrefix = "EMeterRS485",
        .enableKey = "EMeterRS485Line1DataSourceEnable",
        .intervalKey = "EMeterRS485Line1DataSourcePerPublishInterval",
        .databaseFile = "EMeterRS485DataCollectorDb.db",
        .table = "EnergyMeter_RS485_table",
        .payload = R"(1,"GW0001",0,{request},1,1,"PM3-A","3P4W","17","192.168.1.17","0","40001","3","3",)"
                   R"("230.1","229.8","231.0","2026-11-20 10:00:00",0,"0",">")",
        .columns =
            "StartMark,MeterIndex,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
            "SourceDeviceID,SourceRecordType,SourceRequestID,InterfaceID,MeterID,MeterModel,MeterType,"
            "SlaveID,CommIP,MeterResponseCode,StartingRegisterAddress,FunctionCode,RegisterCount,REG1,REG2,"
            "REG3,SourceTime,TxStatus,TxStatusTime,SourceEndMark,RecordReadTime,EndMark",
        .row = "<|0|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|GW0001|0|{request}|1|1|PM3-A|3P4W|17|"
               "192.168.1.17|0|40001|3|3|230.1|229.8|231.0|2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,1,1,0,PM3-A,3P4W,17,192.168.1.17,0,40001,3,"
                  "230.1,229.8,231.0,0,>",
        .stored = "Success: EMeter RS485 Line 1 Database Written Successfully\n",
        .notStored = "Failure: Fail to write RS485 Line 1 Database\n",
        .updated = "Success: UpdateRS485DBRecord, record updated, RecordNumber = {number}, TxStatus and "
                   "TxTimestamp \n",
        .sent = "RS485DCDBRecord Number = {number}, published successfully\n",
    },
    {
        .name = "Rs232",
        .recordTopic = "EnergyMeter/RS232/Record",
        .packetTopic = "HTTPSend/RS232/Record",
        .statusTopic = "HTTPSend/RS232/Status",
        .controlFile = "RS232PerDatabaseCtrlConfig.cfg",
        .keyPrefix = "EMeterRS232",
        .enableKey = "EMeterRS232Line1DataSourceEnable",
        .intervalKey = "EMeterRS232Line1DataSourcePerPublishInterval",
        .databaseFile = "RS232DataCollectorDb.db",
        .table = "RS232_table",
        .payload = R"(1,"SITE01","GW0001",0,{request},1,1,"PM1-C","1P2W","5","0","40001","3","3","230.1",)"
                   R"("5.2","1.19","2026-11-20 10:00:00",0,"0",">")",
        .columns = "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
                   "SourceSiteID,SourceDeviceID,SourceRecordType,SourceRequestID,InterfaceID,MeterID,"
                   "MeterModel,MeterType,SlaveID,MeterResponseCode,StartingRegisterAddress,FunctionCode,"
                   "RegisterCount,REG1,REG2,REG3,SourceTime,TxStatus,TxStatusTime,SourceEndMark,"
                   "RecordReadTime,EndMark",
        .row = "<|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|SITE01|GW0001|0|{request}|1|1|PM1-C|1P2W|"
               "5|0|40001|3|3|230.1|5.2|1.19|2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,1,1,PM1-C,1P2W,5,0,40001,3,3,230.1,5.2,"
                  "1.19,>",
        .stored = "Success: EMeter RS232 Database Written Successfully\n",
        .notStored = "Failure: Fail to write RS232 Database\n",
        .updated = "Success: UpdateRS232DBRecord, record updated, RecordNumber = {number}, TxStatus and "
                   "TxTimestamp \n",
        .sent = "RS232DCDBRecord Number = {number}, published successfully\n",
    },
    {
        .name = "Snmp",
        .recordTopic = "SNMP/Record",
        .packetTopic = "HTTPSend/SNMP/Record",
        .statusTopic = "HTTPSend/SNMP/Status",
        .controlFile = "SNMPPerDatabaseCtrlConfig.cfg",
        .keyPrefix = "SNMP",
        .enableKey = "SNMPLine1DataSourceEnable",
        .intervalKey = "SNMPLine1DataSourcePerPublishInterval",
        .databaseFile = "SNMPDataCollectorDb.db",
        .table = "SNMP_table",
        .payload = R"(1,"SITE01","GW0001",{request},1,1,"ups-1","UPS","192.168.1.50",161,"0","[",)"
                   R"("load=41;battery=100","]","2026-11-20 10:00:00",0,"0",">")",
        .columns = "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,"
                   "SourceSiteID,SourceDeviceID,SourceRequestID,InterfaceID,SnmpDeviceID,DeviceName,"
                   "DeviceType,DeviceIPAddress,DevicePortNumber,DeviceResponseCode,DataStartMark,SNMPData,"
                   "DataEndMark,SourceTime,TxStatus,TxStatusTime,SourceEndMark,RecordReadTime,EndMark",
        .row = "<|SITE01|GW0001|0|{request}|ORU2_1.0.0|99|{number}|SITE01|GW0001|{request}|1|1|ups-1|UPS|"
               "192.168.1.50|161|0|[|load=41;battery=100|]|2026-11-20 10:00:00|0|0|>|{time}|>",
        .packet = "<,SITE01,{time},{number},{request},ORU2_1.0.0,1,1,ups-1,UPS,192.168.1.50,161,0,0,[,"
                  "load=41;battery=100,>",
        .stored = "Success: EMeter SNMP Line 1 Database Written Successfully\n",
        .notStored = "Failure: Fail to write SNMP Line 1 Database\n",
        .updated = "Success: UpdateSNMPDBRecord, record updated, RecordNumber = {number}, TxStatus and "
                   "TxTimestamp \n",
        .sent = "SNMPDCDBRecord Number = {number}, published successfully\n",
    },
}};

std::string Fill(std::string_view text, const Placeholders& values) {
  std::string filled(text);
  const auto replace = [&filled](std::string_view name, std::string_view value) {
    for (std::size_t at = filled.find(name); at != std::string::npos;
         at = filled.find(name, at + value.size())) {
      filled.replace(at, name.size(), value);
    }
  };
  replace("{request}", std::to_string(values.request));
  replace("{number}", std::to_string(values.number));
  replace("{time}", values.time);
  return filled;
}

std::string PayloadOf(SourceKind kind, int request) {
  return Fill(FactsOf(kind).payload, {.request = request});
}

Row RowOf(SourceKind kind, const Placeholders& values) {
  const std::vector<std::string> columns = Split(FactsOf(kind).columns, ',');
  const std::vector<std::string> fields = Split(FactsOf(kind).row, '|');
  Row row;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    row[columns[i]] = Fill(fields.at(i), values);
  }
  return row;
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator, begin)) {
    parts.emplace_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  parts.emplace_back(text.substr(begin));
  return parts;
}

}  // namespace datacollector::gateway
