#include "config/DatabaseConfig.h"

#include <strings.h>

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include "config/NameValueFile.h"
#include "config/Setting.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

// How the column files of the meter kinds announce themselves on the trace; the I/O kinds do not.
struct ColumnFileTrace {
  SourceKind kind;
  const char* entryCount;
  const char* word;  // nullptr: no announcement
};
constexpr auto kColumnFileTraces = KindTable<ColumnFileTrace>({
    {AIO, "number of name value pair = %d\n", nullptr},
    {DIO, "number of name value pair = %d\n", nullptr},
    {TEMPERATURE, "number of name value pair = %d\n", nullptr},
    {RS485, "number of name value pair RS485 = %d\n", "RS485"},
    {RS232, "number of name value pair RS232 = %d\n", "RS232"},
    {SNMP, "number of name value pair SNMP = %d\n", "SNMP"},
});

// The entries of a column file.
struct Entries {
  EntryTexts names;
  EntryTexts values;
};

// What is being read of one kind.
struct ColumnFile {
  const char* path;
  const char* word;
  const Entries& entries;
  const Entries& ioEntries;  // of the I/O kinds' files, the last one on top
};

void StoreDatabaseName(const ColumnFile& file, std::size_t index, DatabaseConfig& config) {
  const char* name = file.entries.names[index].c_str();
  const char* value = file.entries.values[index].c_str();
  config.i8_DatabaseName.Assign(value);
  if (file.word != nullptr) {
    Print("Data Base i32_Index=%zu\n", index);
    Print("DataBase Name %s : %s\n", file.word, value);
  }
  Print("database_name: %s, %s\n", name, value);
}

// The announcement of a meter kind's table shows what stands in the same place of the I/O kinds' file.
void StoreTableName(const ColumnFile& file, std::size_t index, DatabaseConfig& config) {
  const char* name = file.entries.names[index].c_str();
  const char* value = file.entries.values[index].c_str();
  const StoredText stored = StoreBounded<100>(config.i8_TableName, value);
  if (file.word != nullptr) {
    Print("Table Name i32_Index=%zu\n", index);
    Print("Table Name %s : %s\n", file.word, file.ioEntries.values[index].c_str());
  }
  Print("table_name: %s, %s\n", name, value);
  if (stored.limit != 0) {
    ReportCut(name, file.path, stored.limit);
  }
}

// Every entry that names neither the database nor the table is a column.
void StoreEntries(const ColumnFile& file, int entryCount, DatabaseConfig& config) {
  config.ui16_NoOfColumns = 0;
  for (std::size_t index = 0; static_cast<int>(index) < entryCount; ++index) {
    const char* name = file.entries.names[index].c_str();
    if (std::string_view(name) == "DatabaseName") {
      StoreDatabaseName(file, index, config);
    } else if (::strcasecmp(name, "TableName") == 0) {
      StoreTableName(file, index, config);
    } else {
      config.i8_ColumnNames[config.ui16_NoOfColumns].Assign(name);
      ++config.ui16_NoOfColumns;
    }
  }
}

// The four control settings of a kind. Wait and attempts may stand in another kind's file.
struct ControlKeys {
  SourceKind kind;
  std::array<Setting<DatabaseConfig>, 2> table;
  std::array<Setting<DatabaseConfig>, 2> access;
  SourceKind accessFile;
};

constexpr ControlKeys KeysOf(SourceKind kind, const char* recordNumber, const char* maxRows, const char* wait,
                             const char* retry, SourceKind accessFile) {
  return {kind,
          {{TextKey<&DatabaseConfig::i8_RecordNumber>(recordNumber),
            NumberKey<&DatabaseConfig::ui16_MAXRecords>(maxRows)}},
          {{NumberKey<&DatabaseConfig::i32_DatabaseAccessWaitInterval>(wait),
            NumberKey<&DatabaseConfig::ui16_MaxDatabaseAccessRetry>(retry)}},
          accessFile};
}

// The temperature kind's wait and attempts are looked up in the DIO file: written into the temperature file
// they have no effect.
constexpr auto kControlKeys = KindTable<ControlKeys>({
    KeysOf(AIO, "AIRecordNumber", "AIMaxRowsCount", "AIDatabaseAccessWaitInterval",
           "AIMaxDatabaseAccessRetry", AIO),
    KeysOf(DIO, "DIRecordNumber", "DIMaxRowsCount", "DIDatabaseAccessWaitInterval",
           "DIMaxDatabaseAccessRetry", DIO),
    KeysOf(TEMPERATURE, "TemperatureRecordNumber", "TemperatureMaxRowsCount",
           "TemperatureDatabaseAccessWaitInterval", "TemperatureMaxDatabaseAccessRetry", DIO),
    KeysOf(RS485, "EMeterRS485RecordNumber", "EMeterRS485MaxRowsCount",
           "EMeterRS485DatabaseAccessWaitInterval", "EMeterRS485MaxDatabaseAccessRetry", RS485),
    KeysOf(RS232, "EMeterRS232RecordNumber", "EMeterRS232MaxRowsCount",
           "EMeterRS232DatabaseAccessWaitInterval", "EMeterRS232MaxDatabaseAccessRetry", RS232),
    KeysOf(SNMP, "SNMPRecordNumber", "SNMPMaxRowsCount", "SNMPDatabaseAccessWaitInterval",
           "SNMPMaxDatabaseAccessRetry", SNMP),
});

constexpr Wording kControlWording = {"value at setting in {key}={value} in {file} file\n",
                                     "value at setting in {key} in {file} file={value}\n", kMissingKey};

constexpr const char* kRs485ControlFile = "i8_RS485PerDatabaseCtrlConfigFileName : {file}\n";

// What is printed about a control file before the error of an unreadable one, and about a readable one.
struct ControlFileTrace {
  SourceKind kind;
  const char* unreadable;
  const char* readable;
};
constexpr auto kControlFileTraces = KindTable<ControlFileTrace>({
    {AIO, "", ""},
    {DIO, "", ""},
    {TEMPERATURE, "", "Temperaturecfg success\n"},
    {RS485, "i8_RS485PerDatabaseCtrlConfigFileName : {file}\nError in reading RS 485 DataBase Ctrl file \n",
     ""},
    {RS232, "Error in reading RS232 DataBase Ctrl file \n", "RS232cfg success\n"},
    {SNMP, "Error in reading SNMP DataBase Ctrl file \n", "SNMPcfg success\n"},
});

void ReportControlFiles(const ControlFiles& files) {
  for (const SourceKind kind : kAllKinds) {
    const ControlFileTrace& texts = kControlFileTraces[kind];
    PrintEcho(files[kind].IsRead() ? texts.readable : texts.unreadable, {{}, files[kind].Path()});
    files[kind].CheckRead();
  }
}

}  // namespace

bool IsKindRead(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t count) {
  return (IsMeterKind(kind) || static_cast<std::int32_t>(kind) < sources.i32_No_Of_Sources) &&
         IsSourceEnabled(sources, kind, count);
}

int ReadDataCollectorDBColumnsConfig(DataCollectorMainStructure& main, const char* aioPath,
                                     const char* dioPath, const char* rs485Path, const char* rs232Path,
                                     const char* temperaturePath, const char* snmpPath) {
  const FunctionTrace trace(__func__);
  const auto paths = std::to_array({aioPath, dioPath, temperaturePath, rs485Path, rs232Path, snmpPath});
  static_assert(paths.size() == kSourceKinds);
  const std::unique_ptr<Entries> ioEntries(new (std::nothrow) Entries{});
  const std::unique_ptr<Entries> meterEntries(new (std::nothrow) Entries{});
  if (ioEntries == nullptr || meterEntries == nullptr) {
    PrintSystemError(__func__);
    return 0;
  }
  for (const SourceKind kind : kAllKinds) {
    if (IsKindRead(main.DataCollectorSourcesConfig, kind, kKinds[kind].columnSources)) {
      Entries& entries = IsMeterKind(kind) ? *meterEntries : *ioEntries;
      const int count = ParseContentFromConfig(&entries.names, &entries.values, paths[kind]);
      const ColumnFileTrace& texts = kColumnFileTraces[kind];
      Print(texts.entryCount, count);
      StoreEntries({paths[kind], texts.word, entries, *ioEntries}, count, main.DataCollectorDBConfig[kind]);
    }
  }
  return 0;
}

int ReadDataCollectorDBCtrlConfig(DataCollectorMainStructure& main, const char* aioPath, const char* dioPath,
                                  const char* rs485Path, const char* rs232Path, const char* temperaturePath,
                                  const char* snmpPath) {
  const FunctionTrace trace(__func__);
  PrintEcho(kRs485ControlFile, {{}, rs485Path});
  const ControlFiles files = {ConfigFile(aioPath),   ConfigFile(dioPath),   ConfigFile(temperaturePath),
                              ConfigFile(rs485Path), ConfigFile(rs232Path), ConfigFile(snmpPath)};
  ReportControlFiles(files);
  for (const SourceKind kind : kAllKinds) {
    if (IsKindRead(main.DataCollectorSourcesConfig, kind, kKinds[kind].sources)) {
      const ControlKeys& keys = kControlKeys[kind];
      DatabaseConfig& config = main.DataCollectorDBConfig[kind];
      ReadSettings(files[kind], keys.table, config, kControlWording);
      ReadSettings(files[keys.accessFile], keys.access, config, kControlWording);
    }
  }
  return 0;
}

}  // namespace datacollector
