// The daemon's main: the order of its start-up.

#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdlib>

#include "app/CommandLine.h"
#include "app/ControlLoop.h"
#include "app/ProcessHandler.h"
#include "app/Signals.h"
#include "app/StartUp.h"
#include "config/ConfigDigest.h"
#include "config/LibConfigRead.h"
#include "ground/FileLogger.h"
#include "ground/FixedText.h"
#include "ground/Shell.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "ground/Version.h"

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

// Says what runs here, and with which configuration.
void AnnounceVersion() {
  const std::uint64_t digest = DigestOfConfiguration();
  SetConfigurationDigest(digest);
  PrintError("DataCollector %s, configuration %016" PRIx64 "\n", kVersion, digest);
  WriteLog("DataCollector %s, configuration %016" PRIx64, kVersion, digest);
}

int RunAsDaemon(const char* name) {
  Print("/$$$$$$$$$$ Start running Daemon <%s> stuff $$$$$$$$$$$$$$$/\n", name);
  WriteLog("DataCollector Started As Daemon");
  InstallSignalHandlers();
  OpenStatusFile();
  Initialize_GlobalVariables();
  ReadConfig(gMainState);
  AnnounceVersion();
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
  if (datacollector::AnswerCommandLine(argc, argv)) {
    return EXIT_SUCCESS;
  }
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
