#include "config/LibConfigRead.h"

#include <array>
#include <cstddef>

#include "config/DatabaseColumnsConfig.h"
#include "config/DatabaseConfig.h"
#include "config/SiteConfig.h"
#include "config/SourcesConfig.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

#define CONFIG "/root/DataCollectorAppComponent/etc/Config/"
constexpr std::array<const char*, kConfigFiles> kPaths = {
    "/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg",
    CONFIG "DataCollectorGeneric.cfg",
    CONFIG "DataCollectorMqtt.cfg",
    "/root/FixedPacketAppComponent/etc/Config/FixedPacketConfig.cfg",
    CONFIG "AIOPerDatabaseColumnsConfig.cfg",
    CONFIG "/DIOPerDatabaseColumnsConfig.cfg",
    CONFIG "TemperaturePerDatabaseColumnsConfig.cfg",
    CONFIG "RS485PerDatabaseColumnsConfig.cfg",
    CONFIG "RS232PerDatabaseColumnsConfig.cfg",
    CONFIG "SNMPPerDatabaseColumnsConfig.cfg",
    CONFIG "AIOPerDatabaseCtrlConfig.cfg",
    CONFIG "DIOPerDatabaseCtrlConfig.cfg",
    CONFIG "TemperaturePerDatabaseCtrlConfig.cfg",
    CONFIG "RS485PerDatabaseCtrlConfig.cfg",
    CONFIG "RS232PerDatabaseCtrlConfig.cfg",
    CONFIG "SNMPPerDatabaseCtrlConfig.cfg",
    "/root/SoftwareVersionComponent/etc/Config/SoftwareVersion.cfg",
    "/root/EnergyMeterAppComponent/etc/Config/RS485DeviceConfig.cfg",
};
#undef CONFIG

}  // namespace

std::span<const char* const> ConfigFilePaths() { return kPaths; }

PathText RootedPath(const char* root, const char* path) {
  PathText rooted{};
  rooted.Format("%s%s", root, path);
  return rooted;
}

// The order matters: the data-source file decides which kinds' files count, and the meters' own file, read
// last, replaces that file's meter counts.
int ReadConfig(DataCollectorMainStructure& main, const char* root) {
  const FunctionTrace trace(__func__);
  std::array<PathText, kConfigFiles> rooted;
  std::array<const char*, kConfigFiles> paths{};
  for (std::size_t file = 0; file < kConfigFiles; ++file) {
    rooted[file] = RootedPath(root, kPaths[file]);
    paths[file] = rooted[file].c_str();
  }
  const char* const* columns = &paths[kColumnFiles];
  const char* const* control = &paths[kControlFiles];
  if (ReadSourcesConfig(main, paths[kSourcesFile]) != 0) {
    return 0;
  }
  ReadGenericConfig(main, paths[kGenericFile]);
  ReadTopicsConfig(main, paths[kTopicsFile]);
  ReadSiteIDCfg(main, paths[kSiteFile]);
  ReadDataCollectorDBColumnsConfig(main, columns[AIO], columns[DIO], columns[RS485], columns[RS232],
                                   columns[TEMPERATURE], columns[SNMP]);
  ReadDataCollectorDBCtrlConfig(main, control[AIO], control[DIO], control[RS485], control[RS232],
                                control[TEMPERATURE], control[SNMP]);
  ReadDataCollectorDBCtrlUpdateConfig(main, control[AIO], control[DIO], control[RS485], control[RS232],
                                      control[TEMPERATURE], control[SNMP]);
  ReadSoftwareVersionCfg(main, paths[kVersionFile]);
  ReadRS485DeviceConfig(main, paths[kRs485DeviceFile]);
  return 0;
}

}  // namespace datacollector
