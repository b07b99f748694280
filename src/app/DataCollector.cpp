// The daemon's main: the order of its start-up.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "app/ControlLoop.h"
#include "app/ProcessHandler.h"
#include "app/Signals.h"
#include "app/StartUp.h"
#include "app/ground/FileLogger.h"
#include "app/ground/FixedText.h"
#include "app/ground/Shell.h"
#include "app/ground/Trace.h"
#include "config/LibConfigRead.h"

namespace datacollector {
namespace {

constexpr const char* kInstanceSocketPath = "/tmp/DataCollector";
constexpr int kGuardRetries = 1;

// A process that was started without its standard streams would get sockets in their places, and its trace
// would go into one of them.
void FillStandardStreams() {
  int descriptor = 0;
  do {
    descriptor = ::open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor > STDERR_FILENO) {
    ::close(descriptor);
  }
}

void MakeLog() {
  FixedText<99> command;
  command.Format("mkdir -p \"%s\"", kLogDirectory);
  RunShellCommand(command.c_str());
  InitLogFile(kLogFile);
}

int EndAsClient(const char* name) {
  Print("/$$$$$$$$$$$$$$ Client able to connect to Daemon <%s> $$$$$$$$$$$$$$$$$/\n", name);
  CloseUnixDomainSocket();
  WriteLog("DataCollector Started As Client");
  return 0;
}

int EndWithGuardError(const char* name) {
  Print("/$$$$$$$$$$ Error in handling Daemon <%s> $$$$$$$$$$$/\n", name);
  CloseUnixDomainSocket();
  WriteLog("Error in handling Daemon DataCollector");
  return 1;
}

int RunAsDaemon(const char* name) {
  Print("/$$$$$$$$$$ Start running Daemon <%s> stuff $$$$$$$$$$$$$$$/\n", name);
  WriteLog("DataCollector Started As Daemon");
  InstallSignalHandlers();
  Initialize_GlobalVariables();
  ReadConfig(gMainState);
  PrintLine("Sucesss: Mosquitto_Initialization");
  if (CreateDataCollectorDataBases(gMainState) == -1) {
    PrintLine("Error CreateConsolidatorDataBases");
    WriteLog("Error CreateConsolidatorDataBases");
    return -1;
  }
  DataCollector_Publish_Handler();
  return 0;
}

int Run(const char* name) {
  switch (ProcessHandler(kInstanceSocketPath, kGuardRetries, name)) {
    case 0:
      return RunAsDaemon(name);
    case 1:
      return EndAsClient(name);
    default:
      return EndWithGuardError(name);
  }
}

}  // namespace
}  // namespace datacollector

int main(int argc, char* argv[]) {
  using datacollector::FlushTrace;
  using datacollector::FunctionTrace;
  datacollector::FillStandardStreams();
  datacollector::MakeLog();
  int status = EXIT_FAILURE;
  {
    const FunctionTrace trace(__func__);
    status = datacollector::Run(argc > 0 ? argv[0] : "DataCollector");
  }
  FlushTrace();
  return status;
}
