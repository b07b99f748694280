#include "store/CreateDB.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>

#include "app/ground/FileLogger.h"
#include "app/ground/FixedText.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/Shell.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

struct Creation {
  const char* dataDirectory;
  bool logsUnusableDirectory;
  bool makesDirectories;  // false: relies on a kind that was created before
  const char* databaseFile;
  const char* table;
  const char* columnFile;
};

// clang-format off
constexpr std::array<Creation, kSourceKinds> kCreations = {{
    {"/vorl/disk/AppData/K740", true, true, "AIODataCollectorDB.db", "AIO_table",
     "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg"},
    {"/vorl/disk/AppData/K740/", false, true, "DIODataCollectorDB.db", "DIO_table",
     "/root/DataCollectorAppComponent/etc/Config/DIOPerDatabaseColumnsConfig.cfg"},
    {"/vorl/disk/AppData/K740/", false, true, "TemperatureDataCollectorDB.db", "Temperature_table",
     "/root/DataCollectorAppComponent/etc/Config/TemperaturePerDatabaseColumnsConfig.cfg"},
    {"/vorl/disk/AppData/K740/", false, false, "EMeterRS485DataCollectorDb.db", "EnergyMeter_RS485_table",
     "/root/DataCollectorAppComponent/etc/Config/RS485PerDatabaseColumnsConfig.cfg"},
    {"/vorl/disk/AppData/K740/", false, false, "RS232DataCollectorDb.db", "RS232_table",
     "/root/DataCollectorAppComponent/etc/Config/RS232PerDatabaseColumnsConfig.cfg"},
    {"/vorl/disk/AppData/K740/", false, false, "SNMPDataCollectorDb.db", "SNMP_table",
     "/root/DataCollectorAppComponent/etc/Config/SNMPPerDatabaseColumnsConfig.cfg"},
}};
// clang-format on

constexpr const char* kDatabaseDirectory = "/vorl/disk/AppData/K740/DataCollector/Db";
constexpr const char* kUnusableDirectory = "Failed due to Not a directory or I/O Error";
constexpr const char* kFirstDirectoryFailed = "failed to create fst directory 'DataCollector'";
constexpr const char* kSecondDirectoryFailed = "failed to create sec directory 'Db'";
constexpr mode_t kDirectoryMode = 0755;

bool IsUnusable(int error) { return error == ENOTDIR || error == EIO; }

// Makes both levels below the working directory. They are taken to be missing together: a "DataCollector"
// that is there without its "Db" is a failure, and the database is not made on this start.
bool MakeDirectories() {
  if (::mkdir("DataCollector", kDirectoryMode) != 0) {
    const int error = errno;
    PrintLine(kFirstDirectoryFailed);
    errno = error;
    PrintSystemError(kFirstDirectoryFailed);
    WriteLog("%s", kFirstDirectoryFailed);
    return false;
  }
  if (::chdir("DataCollector") != 0 && IsUnusable(errno)) {
    PrintLine(kUnusableDirectory);
    return false;
  }
  if (::mkdir("Db", kDirectoryMode) != 0) {
    PrintLine(kSecondDirectoryFailed);
    WriteLog("%s", kSecondDirectoryFailed);
    return false;
  }
  return true;
}

void RunTableScript(const Creation& creation) {
  FixedText<511> command;
  command.Format(
      "/bin/DatabaseInterface.sh --command \"create_table\""
      " --databasepath \"/vorl/disk/AppData/K740/DataCollector/Db/\""
      " --database \"%s\"  --table \"%s\" --config \"%s\"",
      creation.databaseFile, creation.table, creation.columnFile);
  RunShellCommand(command.c_str());
}

// The directories are made below the working directory, of which the process has one for all its threads, and
// a level that another thread makes in between would count as a failure: one creation at a time.
void CreateDatabase(const Creation& creation, const char* databasePath, const char* function) {
  static std::mutex oneAtATime;
  FunctionTrace trace(function);
  const std::lock_guard lock(oneAtATime);
  struct stat status {};
  if (::stat(databasePath, &status) == 0) {
    return;
  }
  if (::chdir(creation.dataDirectory) != 0) {
    if (IsUnusable(errno)) {
      PrintLine(kUnusableDirectory);
      if (creation.logsUnusableDirectory) {
        WriteLog("%s", kUnusableDirectory);
      }
      trace.SkipEnd();
    }
    return;
  }
  if (creation.makesDirectories && IsDirectory(kDatabaseDirectory) != 1 && !MakeDirectories()) {
    trace.SkipEnd();
    return;
  }
  RunTableScript(creation);
}

}  // namespace

void CreateAIDB(const char* databasePath) { CreateDatabase(kCreations[AIO], databasePath, __func__); }
void CreateDIODB(const char* databasePath) { CreateDatabase(kCreations[DIO], databasePath, __func__); }
void CreateTemperatureDB(const char* databasePath) {
  CreateDatabase(kCreations[TEMPERATURE], databasePath, __func__);
}
void CreateRS485DB(const char* databasePath) { CreateDatabase(kCreations[RS485], databasePath, __func__); }
void CreateRS232DB(const char* databasePath) { CreateDatabase(kCreations[RS232], databasePath, __func__); }
void CreateSNMPDB(const char* databasePath) { CreateDatabase(kCreations[SNMP], databasePath, __func__); }

DatabaseCreator CreatorOf(SourceKind kind) {
  static constexpr std::array<DatabaseCreator, kSourceKinds> kCreators = {
      CreateAIDB, CreateDIODB, CreateTemperatureDB, CreateRS485DB, CreateRS232DB, CreateSNMPDB};
  return kCreators[kind];
}

}  // namespace datacollector
