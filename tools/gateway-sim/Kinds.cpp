#include "Kinds.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "ground/KindShape.h"

namespace datacollector::sim {
namespace {

// A temperature alarm reaches the RS-485 branch as well, which refuses it: it has no meter index. SNMP alarms
// have a topic, but the daemon stores nothing that arrives on it; RS-232 has none.
constexpr std::array<KindProfile, kSourceKinds> kProfiles = {{
    {AIO,
     "IOModule/AIO/Record",
     "IOModule/AIO/Alarm",
     "HTTPSend/AIO/Record",
     "HTTPSend/AIO/Status",
     0,
     0,
     10,
     {6, ""},
     {7, ""},
     "AIO DataBase written Successfully",
     "Success: UpdateAIDBRecord, record updated, RecordNumber = ",
     R"("<","M417",0,7,99,{number},{run},"{time}",0,"0",">")"},
    {DIO,
     "IOModule/DIO/Record",
     "IOModule/DIO/Alarm",
     "HTTPSend/DIO/Record",
     "HTTPSend/DIO/Status",
     0,
     0,
     10,
     {6, ""},
     {7, ""},
     "DIO DataBase written Successfully",
     "Success: UpdateDIODBRecord, record updated, RecordNumber = ",
     R"("<","AI2DI2DO2_VT480",0,7,99,{number},{run},"{time}",0,"0",">")"},
    {TEMPERATURE,
     "IOModule/Temperature/Record",
     "IOModule/Temperature/Alarm",
     "HTTPSend/Temperature/Record",
     "HTTPSend/Temperature/Status",
     0,
     0,
     10,
     {6, ""},
     {7, ""},
     "Temperature DataBase written Successfully",
     "Success: UpdateTemperatureDBRecord, record updated, RecordNumber = ",
     R"("<","AI2DI2DO2_VT480",0,7,99,{number},{run},"{time}",0,"0",">")"},
    {RS485,
     "EnergyMeter/RS485/Record",
     "EnergyMeter/RS485/Alarm",
     "HTTPSend/RS485/Record",
     "HTTPSend/RS485/Status",
     kKinds[RS485].meters,
     kKinds[RS485].storedLines,
     21,
     {16, ""},
     {17, ""},
     "Success: EMeter RS485 Line ",
     "Success: UpdateRS485DBRecord, record updated, RecordNumber = ",
     R"({meter},"GW0001",0,7,{line},{meter},"PM3-A","3P4W","17","192.168.1.17","0","40001","3","3",)"
     R"("{number}","{run}","231.0","{time}",0,"0",">")"},
    {RS232,
     "EnergyMeter/RS232/Record",
     "",
     "HTTPSend/RS232/Record",
     "HTTPSend/RS232/Status",
     kKinds[RS232].meters,
     kKinds[RS232].lines,
     19,
     {15, ""},
     {16, ""},
     "Success: EMeter RS232 Database Written Successfully",
     "Success: UpdateRS232DBRecord, record updated, RecordNumber = ",
     R"({meter},"SITE01","GW0001",0,7,{line},{meter},"PM1-C","1P2W","5","0","40001","3","3",)"
     R"("{number}","{run}","1.19","{time}",0,"0",">")"},
    {SNMP,
     "SNMP/Record",
     "",
     "HTTPSend/SNMP/Record",
     "HTTPSend/SNMP/Status",
     kKinds[SNMP].meters,
     kKinds[SNMP].lines,
     17,
     {15, "number="},
     {15, "run="},
     "Success: EMeter SNMP Line 1 Database Written Successfully",
     "Success: UpdateSNMPDBRecord, record updated, RecordNumber = ",
     R"({meter},"SITE01","GW0001",7,{line},{meter},"ups-{meter}","UPS","192.168.1.50",161,"0",)"
     R"("[","number={number};run={run};load=41;battery=100","]","{time}",0,"0",">")"},
}};

constexpr bool RowsInKindOrder() {
  for (std::size_t i = 0; i < kProfiles.size(); ++i) {
    if (kProfiles[i].kind != kAllKinds[i] || kProfiles[i].run.value >= kProfiles[i].packetValues) {
      return false;
    }
  }
  return true;
}
static_assert(RowsInKindOrder());

}  // namespace

const KindProfile& ProfileOf(SourceKind kind) { return kProfiles[kind]; }

std::optional<SourceKind> KindOfName(std::string_view name) {
  const std::string text(name);
  for (const SourceKind kind : kAllKinds) {
    if (strcasecmp(text.c_str(), kKindIndexWord[kind]) == 0) {
      return kind;
    }
  }
  return std::nullopt;
}

std::optional<SourceKind> KindOfPacketTopic(std::string_view topic) {
  const auto* const row =
      std::find_if(kProfiles.begin(), kProfiles.end(),
                   [topic](const KindProfile& profile) { return topic == profile.packetTopic; });
  return row == kProfiles.end() ? std::nullopt : std::optional(row->kind);
}

std::string MakePayload(const KindProfile& profile, const PayloadValues& values) {
  const std::array<std::pair<std::string_view, std::string>, 5> places = {{
      {"{number}", std::to_string(values.number)},
      {"{run}", std::to_string(values.run)},
      {"{meter}", std::to_string(values.meter)},
      {"{line}", std::to_string(values.line)},
      {"{time}", values.time},
  }};
  std::string text = profile.payload;
  for (const auto& [name, value] : places) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
      text.replace(at, name.size(), value);
    }
  }
  return text;
}

std::string LocalTimeText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return {text.data(), length};
}

}  // namespace datacollector::sim
