#include "config/DatabaseColumnsConfig.h"

#include <array>
#include <cstdint>
#include <span>

#include "config/ConfigFile.h"
#include "config/DatabaseConfig.h"
#include "config/Setting.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

using Params = DatabaseParams;

// A meter packet's record number is found by the same position, counted from 0.
std::int32_t StorePosition(Params& params, int value) {
  params.ui16_RecordNumberIndex = static_cast<std::uint16_t>(value);
  params.i16_RIDClmnIndex = static_cast<std::int16_t>(value);
  return params.ui16_RecordNumberIndex;
}

// There are three registers, whatever the number of registers says.
constexpr const char* kRegister = "Prepared String for Register Read={key}\n";

constexpr std::array<Setting<Params>, 15> kAioKeys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("AIRequestIdColumn"),
    TextKey<&Params::i8_RecordType>("AIRecordTypeColumn"),
    TextKey<&Params::i8_RecordIDColumn>("AIRecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("AIRecordWriteTimestampColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("AIRecordReadTimestampColumn"),
    TextKey<&Params::i8_TxStatusColumn>("AITxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("AITxStatusTimeColumn"),
    NumberKey<&Params::ui16_RecordNumberIndex>("AIRecordNumberIndex"),
    NumberKey<&Params::ui16_RecordTimeStampIndex>("AIRecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("AIStartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("AIEndMarkColumn"),
    TextKey<&Params::i8_ValueColumns, 0>("AIValuesColumn"),
    NumberKey<&Params::ui16_MaxReadTry>("AIMaxReadTry"),
}};

constexpr std::array<Setting<Params>, 19> kDioKeys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("DIRequestIdColumn"),
    TextKey<&Params::i8_RecordIDColumn>("DIRecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("DIRecordWriteTimeColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("DIRecordReadTimeColumn"),
    TextKey<&Params::i8_TxStatusColumn>("DITxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("DITxStatusTimeColumn"),
    NumberKey<&Params::ui16_RecordNumberIndex>("DIRecordNumberIndex"),
    NumberKey<&Params::ui16_RecordTimeStampIndex>("DIRecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("DIStartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("DIEndMarkColumn"),
    TextKey<&Params::i8_ValueColumns, 0>("DI1Column"),
    TextKey<&Params::i8_ValueColumns, 1>("DI2Column"),
    TextKey<&Params::i8_ValueColumns, 2>("DI3Column"),
    TextKey<&Params::i8_ValueColumns, 3>("DI4Column"),
    TextKey<&Params::i8_ValueColumns, 4>("DO1Column"),
    TextKey<&Params::i8_ValueColumns, 5>("DO2Column"),
    NumberKey<&Params::ui16_MaxReadTry>("DIMaxReadTry"),
}};

constexpr std::array<Setting<Params>, 16> kTemperatureKeys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("TemperatureRequestIdColumn"),
    TextKey<&Params::i8_RecordIDColumn>("TemperatureRecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("TemperatureRecordWriteTimeColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("TemperatureRecordReadTimeColumn"),
    TextKey<&Params::i8_TxStatusColumn>("TemperatureTxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("TemperatureTxStatusTimeColumn"),
    NumberKey<&Params::ui16_RecordNumberIndex>("TemperatureRecordNumberIndex"),
    NumberKey<&Params::ui16_RecordTimeStampIndex>("TemperatureRecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("TemperatureStartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("TemperatureEndMarkColumn"),
    TextKey<&Params::i8_ValueColumns, 0>("Temperature1Column"),
    TextKey<&Params::i8_ValueColumns, 1>("Temperature2Column"),
    TextKey<&Params::i8_ValueColumns, 2>("Temperature3Column"),
    NumberKey<&Params::ui16_MaxReadTry>("TemperatureMaxReadTry"),
}};

constexpr std::array<Setting<Params>, 28> kRs485Keys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("EMeterRS485RequestIdColumn"),
    TextKey<&Params::i8_RecordIDColumn>("EMeterRS485RecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("EMeterRS485RecordWriteTimestampColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("EMeterRS485RecordReadTimestampColumn"),
    TextKey<&Params::i8_TxStatusColumn>("EMeterRS485TxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("EMeterRS485TxStatusTimeColumn"),
    {"EMeterRS485RecordNumberIndex", StorePosition, nullptr},
    NumberKey<&Params::ui16_RecordTimeStampIndex>("EMeterRS485RecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("EMeterRS485StartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("EMeterRS485EndMarkColumn"),
    TextKey<&Params::i8_InterfaceId>("EMeterRS485RS485InterfaceId"),
    TextKey<&Params::i8_MeterID>("EMeterRS485MeterID"),
    TextKey<&Params::i8_MeterIndexColumn>("EMeterRS485MeterIndexColumn"),
    TextKey<&Params::i8_MeterModel>("EMeterRS485MeterModel"),
    TextKey<&Params::i8_MeterType>("EMeterRS485MeterType"),
    TextKey<&Params::i8_SlaveID>("EMeterRS485SlaveID"),
    TextKey<&Params::i8_CommIP>("EMeterRS485CommIP"),
    TextKey<&Params::i8_ResponseCodeColumn>("EMeterRS485ResponseCodeColumn"),
    TextKey<&Params::i8_StartingRegisterAddress>("StartingRS485RegisterAddress"),
    TextKey<&Params::i8_FunctionCodeUsed>("FunctionCodeUsed"),
    TextKey<&Params::i8_NoOfRegisters>("NoOfRegisters"),
    TextKey<&Params::i8_RecordType>("RecordType"),
    TextKey<&Params::i8_EMeterREG, 0>("EMeterREG1", kRegister),
    TextKey<&Params::i8_EMeterREG, 1>("EMeterREG2", kRegister),
    TextKey<&Params::i8_EMeterREG, 2>("EMeterREG3", kRegister),
    NumberKey<&Params::ui16_MaxReadTry>("EMeterRS485MaxReadTry"),
}};

constexpr std::array<Setting<Params>, 26> kRs232Keys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("EMeterRS232RequestIdColumn"),
    TextKey<&Params::i8_RecordIDColumn>("EMeterRS232RecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("EMeterRS232RecordWriteTimestampColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("EMeterRS232RecordReadTimestampColumn"),
    TextKey<&Params::i8_TxStatusColumn>("EMeterRS232TxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("EMeterRS232TxStatusTimeColumn"),
    {"EMeterRS232RecordNumberIndex", StorePosition, nullptr},
    NumberKey<&Params::ui16_RecordTimeStampIndex>("EMeterRS232RecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("EMeterRS232StartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("EMeterRS232EndMarkColumn"),
    TextKey<&Params::i8_InterfaceId>("EMeterRS232InterfaceId"),
    TextKey<&Params::i8_MeterID>("EMeterRS232MeterID"),
    TextKey<&Params::i8_MeterModel>("EMeterRS232MeterModel"),
    TextKey<&Params::i8_MeterType>("EMeterRS232MeterType"),
    TextKey<&Params::i8_SlaveID>("EMeterRS232SlaveID"),
    TextKey<&Params::i8_ResponseCodeColumn>("EMeterRS232ResponseCodeColumn"),
    TextKey<&Params::i8_StartingRegisterAddress>("StartingRS232RegisterAddress"),
    TextKey<&Params::i8_FunctionCodeUsed>("FunctionCodeUsed"),
    TextKey<&Params::i8_NoOfRegisters>("NoOfRegisters"),
    TextKey<&Params::i8_RecordType>("RecordType"),
    TextKey<&Params::i8_EMeterREG, 0>("RS232EMeterREG1", kRegister),
    TextKey<&Params::i8_EMeterREG, 1>("RS232EMeterREG2", kRegister),
    TextKey<&Params::i8_EMeterREG, 2>("RS232EMeterREG3", kRegister),
    NumberKey<&Params::ui16_MaxReadTry>("EMeterRS232MaxReadTry"),
}};

constexpr std::array<Setting<Params>, 24> kSnmpKeys = {{
    TextKey<&Params::i8_DatabaseName>("DatabaseName"),
    TextKey<&Params::i8_TableName>("TableName"),
    TextKey<&Params::i8_RequestIdColumn>("SNMPRequestIdColumn"),
    TextKey<&Params::i8_RecordIDColumn>("SNMPRecordIDColumn"),
    TextKey<&Params::i8_RecordWriteTimeColumn>("SNMPRecordWriteTimestampColumn"),
    TextKey<&Params::i8_RecordReadTimeColumn>("SNMPRecordReadTimestampColumn"),
    TextKey<&Params::i8_TxStatusColumn>("SNMPTxStatusColumn"),
    TextKey<&Params::i8_TxStatusTimeColumn>("SNMPTxStatusTimeColumn"),
    {"SNMPRecordNumberIndex", StorePosition, nullptr},
    NumberKey<&Params::ui16_RecordTimeStampIndex>("SNMPRecordTimeStampIndex"),
    TextKey<&Params::i8_StartMarkColumn>("SNMPStartMarkColumn"),
    TextKey<&Params::i8_EndMarkColumn>("SNMPEndMarkColumn"),
    TextKey<&Params::i8_InterfaceId>("SNMPInterfaceId"),
    TextKey<&Params::i8_MeterID>("SNMPID"),
    TextKey<&Params::i8_MeterModel>("SNMPDeviceName"),
    TextKey<&Params::i8_MeterType>("SNMPDeviceType"),
    TextKey<&Params::i8_CommIP>("SNMPDeviceIPAddress"),
    TextKey<&Params::i8_PortNumber>("SNMPDevicePortNumber"),
    TextKey<&Params::i8_ResponseCodeColumn>("SNMPDeviceResponseCode"),
    TextKey<&Params::i8_RecordType>("RecordType"),
    TextKey<&Params::i8_SNMPStartMark>("SNMPStartMark"),
    TextKey<&Params::i8_SNMPData>("SNMPData"),
    TextKey<&Params::i8_SNMPEndMark>("SNMPEndMark"),
    NumberKey<&Params::ui16_MaxReadTry>("SNMPMaxReadTry"),
}};

constexpr std::array<Setting<Params>, 1> kDioRecordType = {{
    TextKey<&Params::i8_RecordType>("DIRecordType"),
}};

constexpr std::array<Setting<Params>, 1> kTemperatureRecordType = {{
    TextKey<&Params::i8_RecordType>("TemperatureRecordType"),
}};

// The "not sent" value of a kind, which is stored as that of `Target`.
template <SourceKind Kind, SourceKind Target = Kind>
constexpr Setting<DataCollectorDBParams> StatusKey(const char* key) {
  const auto store = [](DataCollectorDBParams& params, int value) -> std::int32_t {
    params[Target].ui16_TxStatus = static_cast<std::uint16_t>(value);
    return params[Kind].ui16_TxStatus;
  };
  return {key, store, nullptr};
}

constexpr Wording kWording = {"value at setting in {key} in {file} file={value}\n",
                              "value at setting in {key} in {file} file={value}\n", kMissingKey};
constexpr Wording kSnmpWording = {"SNMP value at setting in {key} in {file} file={value}\n",
                                  "SNMP value at setting in {key} in {file} file={value}\n",
                                  "SNMP No '{key}' setting in {file} file\n"};

// A kind's keys in reading order. With both kinds enabled, the temperature file's status replaces the DIO
// file's, and the temperature table's "not sent" value stays 0.
struct KindKeys {
  SourceKind kind;
  std::span<const Setting<Params>> columns;
  Setting<DataCollectorDBParams> status;
  std::span<const Setting<Params>> recordType;
  const Wording& wording;
};
constexpr auto kKindKeys = KindTable<KindKeys>({
    {AIO, kAioKeys, StatusKey<AIO>("AITxStatus"), {}, kWording},
    {DIO, kDioKeys, StatusKey<DIO>("DITxStatus"), kDioRecordType, kWording},
    {TEMPERATURE, kTemperatureKeys, StatusKey<TEMPERATURE, DIO>("TemperatureTxStatus"),
     kTemperatureRecordType, kWording},
    {RS485, kRs485Keys, StatusKey<RS485>("EMeterRS485TxStatus"), {}, kWording},
    {RS232, kRs232Keys, StatusKey<RS232>("EMeterRS232TxStatus"), {}, kWording},
    {SNMP, kSnmpKeys, StatusKey<SNMP>("SNMPTxStatus"), {}, kSnmpWording},
});

}  // namespace

int ReadDataCollectorDBCtrlUpdateConfig(DataCollectorMainStructure& main, const char* aioPath,
                                        const char* dioPath, const char* rs485Path, const char* rs232Path,
                                        const char* temperaturePath, const char* snmpPath) {
  const FunctionTrace trace(__func__);
  const ControlFiles files = {ConfigFile(aioPath),   ConfigFile(dioPath),   ConfigFile(temperaturePath),
                              ConfigFile(rs485Path), ConfigFile(rs232Path), ConfigFile(snmpPath)};
  for (const ConfigFile& file : files) {
    file.CheckRead();
  }
  for (const SourceKind kind : kAllKinds) {
    if (IsKindRead(main.DataCollectorSourcesConfig, kind, kKinds[kind].sources)) {
      const KindKeys& keys = kKindKeys[kind];
      ReadSettings(files[kind], keys.columns, main.DataCollectorDBParams[kind], keys.wording);
      ReadSetting(files[kind], keys.status, main.DataCollectorDBParams, keys.wording);
      ReadSettings(files[kind], keys.recordType, main.DataCollectorDBParams[kind], keys.wording);
    }
  }
  return 0;
}

}  // namespace datacollector
