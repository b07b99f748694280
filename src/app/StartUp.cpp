#include "app/StartUp.h"

#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "ground/Trace.h"
#include "store/CreateDB.h"

namespace datacollector {
namespace {

struct CreationTexts {
  SourceKind kind;
  const char* printed;
  const char* logged;
};

constexpr auto kCreations = KindTable<CreationTexts>({
    {AIO, "Creating first time AIODB", "CreateDataCollectorDataBases:Creating first time AIODB"},
    {DIO, "Creating first time DIODB", "CreateDataCollectorDataBases:Creating first time DIO DB"},
    {TEMPERATURE, "Creating first time TemperatureDB",
     "CreateDataCollectorDataBases:Creating first time Temperature DB"},
    {RS485, "Creating first time rs-485 DB", "CreateDataCollectorDataBases:Creating first time rs-485 DB"},
    {RS232, "Creating first time rs-232 DB", "CreateDataCollectorDataBases:Creating first time rs-232 DB"},
    {SNMP, "Creating first time SNMP DB", "CreateDataCollectorDataBases:Creating first time SNMP DB"},
});

}  // namespace

void Initialize_GlobalVariables() {
  const FunctionTrace trace(__func__);
  ZeroMainState(gMainState);
  ZeroFlags();
}

int CreateDataCollectorDataBases(const DataCollectorMainStructure& main) {
  const FunctionTrace trace(__func__);
  for (const CreationTexts& creation : kCreations) {
    const char* path = main.DataCollectorDBConfig[creation.kind].i8_DatabaseName.c_str();
    if (IsDatabaseMissing(path)) {
      PrintLine(creation.printed);
      WriteLog("%s", creation.logged);
      CreateDatabase(creation.kind, path);
    }
  }
  WriteLog("CreateDataCollectorDataBases:Success");
  return 0;
}

}  // namespace datacollector
