#include "store/CreateDB.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "ground/FileLogger.h"
#include "ground/FixedText.h"
#include "ground/GenericFunctions.h"
#include "ground/KindTable.h"
#include "ground/Shell.h"
#include "ground/Trace.h"
#include "store/FileIdentity.h"

namespace datacollector {
namespace {

struct Creation {
  SourceKind kind;
  const char* function;
  const char* dataDirectory;
  bool logsUnusableDirectory;
  bool makesDirectories;  // false: relies on a kind that was created before
  const char* databaseFile;
  const char* table;
  const char* columnFile;
};

// clang-format off
constexpr auto kCreations = KindTable<Creation>({
    {AIO, "CreateAIDB", "/vorl/disk/AppData/K740", true, true, "AIODataCollectorDB.db", "AIO_table",
     "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg"},
    {DIO, "CreateDIODB", "/vorl/disk/AppData/K740/", false, true, "DIODataCollectorDB.db", "DIO_table",
     "/root/DataCollectorAppComponent/etc/Config/DIOPerDatabaseColumnsConfig.cfg"},
    {TEMPERATURE, "CreateTemperatureDB", "/vorl/disk/AppData/K740/", false, true, "TemperatureDataCollectorDB.db",
     "Temperature_table", "/root/DataCollectorAppComponent/etc/Config/TemperaturePerDatabaseColumnsConfig.cfg"},
    {RS485, "CreateRS485DB", "/vorl/disk/AppData/K740/", false, false, "EMeterRS485DataCollectorDb.db",
     "EnergyMeter_RS485_table", "/root/DataCollectorAppComponent/etc/Config/RS485PerDatabaseColumnsConfig.cfg"},
    {RS232, "CreateRS232DB", "/vorl/disk/AppData/K740/", false, false, "RS232DataCollectorDb.db", "RS232_table",
     "/root/DataCollectorAppComponent/etc/Config/RS232PerDatabaseColumnsConfig.cfg"},
    {SNMP, "CreateSNMPDB", "/vorl/disk/AppData/K740/", false, false, "SNMPDataCollectorDb.db", "SNMP_table",
     "/root/DataCollectorAppComponent/etc/Config/SNMPPerDatabaseColumnsConfig.cfg"},
});
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

// A log or journal of a database that is gone would meet the one that the script makes. Where nobody can tell
// whether it is gone, they stay.
void RemoveLeftovers(const char* databasePath) {
  if (struct stat status{}; ::stat(databasePath, &status) != 0 && errno != ENOENT) {
    return;
  }
  for (const char* suffix : kBesideSuffixes) {
    FixedText<520> beside{};
    if (beside.Assign(databasePath) && beside.Append(suffix)) {
      ::unlink(beside.c_str());
    }
  }
}

void MakeMissingDatabase(const Creation& creation, const char* databasePath, FunctionTrace& trace) {
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
  RemoveLeftovers(databasePath);
  RunTableScript(creation);
}

}  // namespace

bool IsDatabaseMissing(const char* databasePath) {
  struct stat status {};
  return ::stat(databasePath, &status) != 0 || (S_ISREG(status.st_mode) && status.st_size == 0);
}

// The directories are made below the working directory, of which the process has one for all its threads, and
// a level that another thread makes in between would count as a failure: one creation at a time. A database
// that is there waits for nobody's script.
void CreateDatabase(SourceKind kind, const char* databasePath) {
  static std::mutex oneAtATime;
  const Creation& creation = kCreations[kind];
  FunctionTrace trace(creation.function);
  if (!IsDatabaseMissing(databasePath)) {
    return;
  }
  const std::lock_guard lock(oneAtATime);
  if (IsDatabaseMissing(databasePath)) {
    MakeMissingDatabase(creation, databasePath, trace);
  }
}

void CreateAIDB(const char* databasePath) { CreateDatabase(AIO, databasePath); }
void CreateDIODB(const char* databasePath) { CreateDatabase(DIO, databasePath); }
void CreateTemperatureDB(const char* databasePath) { CreateDatabase(TEMPERATURE, databasePath); }
void CreateRS485DB(const char* databasePath) { CreateDatabase(RS485, databasePath); }
void CreateRS232DB(const char* databasePath) { CreateDatabase(RS232, databasePath); }
void CreateSNMPDB(const char* databasePath) { CreateDatabase(SNMP, databasePath); }

}  // namespace datacollector
