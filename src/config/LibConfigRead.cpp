#include "config/LibConfigRead.h"

#include <array>

#include "app/ground/Trace.h"
#include "config/DatabaseColumnsConfig.h"
#include "config/DatabaseConfig.h"
#include "config/SiteConfig.h"
#include "config/SourcesConfig.h"

namespace datacollector {
namespace {

constexpr const char* kSourcesFile = "/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg";
constexpr const char* kGenericFile = "/root/DataCollectorAppComponent/etc/Config/DataCollectorGeneric.cfg";
constexpr const char* kTopicsFile = "/root/DataCollectorAppComponent/etc/Config/DataCollectorMqtt.cfg";
constexpr const char* kSiteFile = "/root/FixedPacketAppComponent/etc/Config/FixedPacketConfig.cfg";
constexpr const char* kVersionFile = "/root/SoftwareVersionComponent/etc/Config/SoftwareVersion.cfg";
constexpr const char* kRs485DeviceFile = "/root/EnergyMeterAppComponent/etc/Config/RS485DeviceConfig.cfg";

// The files that every kind has its own of, in the order of the kinds.
struct KindFiles {
  const char* columns;
  const char* control;
};
constexpr std::array<KindFiles, kSourceKinds> kKindFiles = {{
    {"/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseCtrlConfig.cfg"},
    {"/root/DataCollectorAppComponent/etc/Config//DIOPerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/DIOPerDatabaseCtrlConfig.cfg"},
    {"/root/DataCollectorAppComponent/etc/Config/TemperaturePerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/TemperaturePerDatabaseCtrlConfig.cfg"},
    {"/root/DataCollectorAppComponent/etc/Config/RS485PerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/RS485PerDatabaseCtrlConfig.cfg"},
    {"/root/DataCollectorAppComponent/etc/Config/RS232PerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/RS232PerDatabaseCtrlConfig.cfg"},
    {"/root/DataCollectorAppComponent/etc/Config/SNMPPerDatabaseColumnsConfig.cfg",
     "/root/DataCollectorAppComponent/etc/Config/SNMPPerDatabaseCtrlConfig.cfg"},
}};

}  // namespace

// The order matters: the data-source file decides which kinds' files count, and the meters' own file, read
// last, replaces that file's meter counts.
int ReadConfig(DataCollectorMainStructure& main) {
  const FunctionTrace trace(__func__);
  if (ReadSourcesConfig(main, kSourcesFile) != 0) {
    return 0;
  }
  ReadGenericConfig(main, kGenericFile);
  ReadTopicsConfig(main, kTopicsFile);
  ReadSiteIDCfg(main, kSiteFile);
  ReadDataCollectorDBColumnsConfig(main, kKindFiles[AIO].columns, kKindFiles[DIO].columns,
                                   kKindFiles[RS485].columns, kKindFiles[RS232].columns,
                                   kKindFiles[TEMPERATURE].columns, kKindFiles[SNMP].columns);
  ReadDataCollectorDBCtrlConfig(main, kKindFiles[AIO].control, kKindFiles[DIO].control,
                                kKindFiles[RS485].control, kKindFiles[RS232].control,
                                kKindFiles[TEMPERATURE].control, kKindFiles[SNMP].control);
  ReadDataCollectorDBCtrlUpdateConfig(main, kKindFiles[AIO].control, kKindFiles[DIO].control,
                                      kKindFiles[RS485].control, kKindFiles[RS232].control,
                                      kKindFiles[TEMPERATURE].control, kKindFiles[SNMP].control);
  ReadSoftwareVersionCfg(main, kVersionFile);
  ReadRS485DeviceConfig(main, kRs485DeviceFile);
  return 0;
}

}  // namespace datacollector
