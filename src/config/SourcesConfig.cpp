#include "config/SourcesConfig.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "config/ConfigFile.h"
#include "config/Setting.h"
#include "ground/FixedText.h"
#include "ground/GenericFunctions.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

using Main = DataCollectorMainStructure;
using Sources = DataCollectorSourcesConfig;
using KeyText = FixedText<199>;

// A missing RS-485 count is reported under the first count's key: a message about NoOfSources can mean
// either.
constexpr std::array<Setting<Sources>, 5> kCounts = {{
    Required(NumberKey<&Sources::i32_No_Of_Sources>(
        "NoOfSources",
        "psDataCollectorMainStructure->psDataCollectorSourcesConfig.i32_No_Of_Sources = {value}\n")),
    Required(NumberKey<&Sources::i32_No_Of_RS485Sources>("NoOfEMeterRS485DataSources"),
             "No 'NoOfSources' setting in {file} file\n"),
    Required(NumberKey<&Sources::i32_No_Of_RS232Sources>("NoOfEMeterRS232DataSources")),
    Required(NumberKey<&Sources::i32_No_Of_SNMPSources>("NoOfSNMPDataSources")),
    Required(NumberKey<&Sources::DataBases>("NoOfDataBases",
                                            "psDataCollectorSourcesConfig.DataBases = {value}\n")),
}};

constexpr Setting<Main> kMeterSleep = NumberKey<&Main::ui16_MeterReadSleepInterval>(
    "SleepIntervalbetweensuccessiveEnergyMetersInMilliSec",
    "INTERVAL_BETWEEN_EACH_METER_READ = {key}, and Value = {value}\n");

constexpr Setting<Sources> kLanSwitch =
    NumberKey<&Sources::i32_EnableLanMqtt>("enablelanmqtt", "MQTT Over LAN = {key}, and Value = {value}\n");

// What the tables have room for. A second RS-232 line's meter count stands in the SNMP line's place and a
// second SNMP line's device count in the first meter identifier's, as the fields follow each other.
struct SourceGroup {
  const char* countKey;
  std::int32_t Sources::*count;
  std::size_t limit;
};
constexpr SourceGroup kIoGroup = {"NoOfSources", &Sources::i32_No_Of_Sources, 20};
constexpr SourceGroup kRs485Group = {"NoOfEMeterRS485DataSources", &Sources::i32_No_Of_RS485Sources, 100};
constexpr SourceGroup kRs232Group = {"NoOfEMeterRS232DataSources", &Sources::i32_No_Of_RS232Sources, 2};
constexpr SourceGroup kSnmpGroup = {"NoOfSNMPDataSources", &Sources::i32_No_Of_SNMPSources, 2};
constexpr std::array<SourceGroup, 4> kGroups = {kIoGroup, kRs485Group, kRs232Group, kSnmpGroup};

// Where the value of a zero-based line goes; nullptr when the table has no room for the line.
using Place = std::int32_t* (*)(Sources&, std::size_t);

template <auto Table>
std::int32_t* FirstColumn(Sources& sources, std::size_t index) {
  auto& rows = sources.*Table;
  return index < rows.size() ? rows[index].data() : nullptr;
}

template <auto Counts>
std::int32_t* Count(Sources& sources, std::size_t index) {
  auto& counts = sources.*Counts;
  return index < counts.size() ? &counts[index] : nullptr;
}

template <auto Counts, auto Next>
std::int32_t* CountOrNext(Sources& sources, std::size_t index) {
  auto& counts = sources.*Counts;
  return index < counts.size() ? &counts[index] : (sources.*Next).data();
}

// A key that every I/O kind or line has: the kind's name, or `line` and the line's number from 1, in front of
// `suffix`.
struct LineKey {
  const char* line;  // nullptr: an I/O kind's name
  const char* suffix;
  const char* announcement;
  Place place;
};

constexpr const char* kEnable = "DataSourceEnable";
constexpr const char* kInterval = "DataSourcePerPublishInterval";
constexpr const char* kQuery = "QUERY STRING = {key}\n";

constexpr std::array<LineKey, 1> kIoEnable = {{
    {nullptr, kEnable, kQuery, FirstColumn<&Sources::i32_DataSourcesEnableFlags>},
}};
constexpr std::array<LineKey, 2> kRs485Line = {{
    {"EMeterRS485Line", kEnable, kQuery, FirstColumn<&Sources::i32_DataSourcesRS485EnableFlags>},
    {"NoOfEMetersInLine", "", "Prepared String to Query = {key}", Count<&Sources::i32_NoOfEMetersInLine>},
}};
constexpr std::array<LineKey, 3> kRs232Line = {{
    {"EMeterRS232Line", kEnable, "RS232 Enable QUERY STRING = {key}\n",
     FirstColumn<&Sources::i32_DataSourcesRS232EnableFlags>},
    {"EMeterRS232Line", kInterval, "RS232 publish interval QUERY STRING = {key}\n",
     FirstColumn<&Sources::i32_DataSourcesRS232PublishInterval>},
    {"NoOfRS232EMetersInLine", "", "Prepared String to Query RS232= {key}",
     CountOrNext<&Sources::i32_NoOfRS232EMetersInLine, &Sources::i32_NoOfSNMPDevicesInLine>},
}};
constexpr std::array<LineKey, 3> kSnmpLine = {{
    {"SNMPLine", kEnable, "SNMP Enable QUERY STRING = {key}\n",
     FirstColumn<&Sources::i32_DataSourcesSNMPEnableFlags>},
    {"SNMPLine", kInterval, "SNMP publish interval QUERY STRING = {key}\n",
     FirstColumn<&Sources::i32_DataSourcesSNMPPublishInterval>},
    {"NoOfSNMPDevicesInLine", "", "Prepared String to Query SNMP= {key}",
     CountOrNext<&Sources::i32_NoOfSNMPDevicesInLine, &Sources::MeterID>},
}};
constexpr std::array<LineKey, 1> kIoInterval = {{
    {nullptr, kInterval, kQuery, FirstColumn<&Sources::i32_DataSourcesPublishInterval>},
}};
constexpr std::array<LineKey, 1> kRs485Interval = {{
    {"EMeterRS485Line", kInterval, kQuery, FirstColumn<&Sources::i32_DataSourcesRS485PublishInterval>},
}};

// The rounds over kinds and lines, in reading order.
struct LineRound {
  const SourceGroup* group;
  std::span<const LineKey> keys;
};
constexpr std::array<LineRound, 6> kRounds = {{
    {&kIoGroup, kIoEnable},
    {&kRs485Group, kRs485Line},
    {&kRs232Group, kRs232Line},
    {&kSnmpGroup, kSnmpLine},
    {&kIoGroup, kIoInterval},
    {&kRs485Group, kRs485Interval},
}};

// Prints what was found of a key, or that it is missing.
std::optional<int> LookUpNumber(const ConfigFile& file, const char* key, const char* echo,
                                const char* missing = kMissingKey, std::string_view index = {}) {
  const std::optional<int> value = file.Number(key);
  if (value) {
    PrintNumber(echo, key, file, *value, index);
  } else {
    PrintEcho(missing, {key, file.Path()});
  }
  return value;
}

void ReadLineKey(const ConfigFile& file, const LineKey& lineKey, std::size_t index, Sources& sources) {
  KeyText key{};
  if (lineKey.line == nullptr) {
    key.Format("%s%s", SourceKindName(static_cast<std::int32_t>(index)), lineKey.suffix);
  } else {
    key.Format("%s%zu%s", lineKey.line, index + 1, lineKey.suffix);
  }
  PrintEcho(lineKey.announcement, {key.view(), file.Path()});
  const std::optional<int> value = LookUpNumber(file, key.c_str(), kUsualWording.number);
  std::int32_t* place = lineKey.place(sources, index);
  if (value && place != nullptr) {
    *place = *value;
  } else if (value) {
    PrintError("'%s' in %s file is dropped, there is no room for line %zu\n", key.c_str(), file.Path(),
               index + 1);
  }
}

// How many kinds or lines of a group are read.
std::size_t ReadableCount(const SourceGroup& group, const Sources& sources) {
  return Bounded(sources.*group.count, group.limit);
}

void ReportCountsAboveLimit(const ConfigFile& file, const Sources& sources) {
  for (const SourceGroup& group : kGroups) {
    if (sources.*group.count > static_cast<std::int32_t>(group.limit)) {
      PrintError("%s is %d in %s file, only %zu are read\n", group.countKey, sources.*group.count,
                 file.Path(), group.limit);
    }
  }
}

// The lines share the identifiers: what the last line reads stands.
void ReadMeterIds(const ConfigFile& file, std::int32_t meters, Sources& sources) {
  const std::size_t count = Bounded(meters, sources.MeterID.size());
  for (std::size_t meter = 0; meter < count; ++meter) {
    KeyText key{};
    key.Format("%s_%zu", "MeterID", meter + 1);
    const std::optional<int> value =
        LookUpNumber(file, key.c_str(),
                     "psDataCollectorMainStructure->DataCollectorSourcesConfig.MeterID[{index}] : {value}\n",
                     "No '{key}' setting in configuration file\n", std::to_string(meter));
    sources.MeterID[meter] = value.value_or(sources.MeterID[meter]);
  }
  if (meters > static_cast<std::int32_t>(count)) {
    PrintError("%d meters on a line, only %zu identifiers of %s file are read\n", meters, count, file.Path());
  }
}

}  // namespace

int ReadSourcesConfig(DataCollectorMainStructure& main, const char* path) {
  const FunctionTrace trace(__func__);
  Sources& sources = main.DataCollectorSourcesConfig;
  const ConfigFile file(path);
  if (!file.CheckRead() || !ReadSettings(file, kCounts, sources)) {
    return -1;
  }
  ReportCountsAboveLimit(file, sources);
  ReadSetting(file, kMeterSleep, main);
  ReadSetting(file, kLanSwitch, sources);
  for (const LineRound& round : kRounds) {
    for (std::size_t index = 0; index < ReadableCount(*round.group, sources); ++index) {
      for (const LineKey& lineKey : round.keys) {
        ReadLineKey(file, lineKey, index, sources);
      }
    }
  }
  return 0;
}

int ReadRS485DeviceConfig(DataCollectorMainStructure& main, const char* path) {
  Sources& sources = main.DataCollectorSourcesConfig;
  const ConfigFile file(path);
  if (!file.CheckRead()) {
    return -1;
  }
  for (std::size_t line = 0; line < ReadableCount(kRs485Group, sources); ++line) {
    std::int32_t& meters = sources.i32_NoOfEMetersInLine[line];
    meters = LookUpNumber(file, "NoOfDevices", "NoOfEMetersPerLine = {key}, and Value = {value}\n")
                 .value_or(meters);
    ReadMeterIds(file, meters, sources);
  }
  return 0;
}

}  // namespace datacollector
