// First-time creation of the databases: which directories each kind makes, what it runs, what it says.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>

#include "store/CreateDB.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kScriptCalls = "/tmp/script-calls";
constexpr const char* kDataDirectory = "/vorl/disk/AppData/K740";
constexpr const char* kUnusable = "Failed due to Not a directory or I/O Error\n";

struct Expected {
  void (*create)(const char* databasePath);
  const char* function;
  const char* database;
  const char* table;
  const char* columns;
};
constexpr std::array<Expected, kSourceKinds> kExpected = {{
    {CreateAIDB, "CreateAIDB", "AIODataCollectorDB.db", "AIO_table", "AIOPerDatabaseColumnsConfig.cfg"},
    {CreateDIODB, "CreateDIODB", "DIODataCollectorDB.db", "DIO_table", "DIOPerDatabaseColumnsConfig.cfg"},
    {CreateTemperatureDB, "CreateTemperatureDB", "TemperatureDataCollectorDB.db", "Temperature_table",
     "TemperaturePerDatabaseColumnsConfig.cfg"},
    {CreateRS485DB, "CreateRS485DB", "EMeterRS485DataCollectorDb.db", "EnergyMeter_RS485_table",
     "RS485PerDatabaseColumnsConfig.cfg"},
    {CreateRS232DB, "CreateRS232DB", "RS232DataCollectorDb.db", "RS232_table",
     "RS232PerDatabaseColumnsConfig.cfg"},
    {CreateSNMPDB, "CreateSNMPDB", "SNMPDataCollectorDb.db", "SNMP_table",
     "SNMPPerDatabaseColumnsConfig.cfg"},
}};

// Puts a script in the place of the gateway's that only notes its arguments, one per line.
class CreateDBTest : public KindTest {
 protected:
  CreateDBTest() : expected_(kExpected[kind_]) { fs::remove(kScriptCalls); }

  void NoteScriptCalls() {
    script_.emplace(kTableScript, std::string("#!/bin/sh\nprintf '%s\\n' \"$@\" >>") + kScriptCalls + "\n");
  }

  Outcome Create() {
    return Observe(
        [&] {
          expected_.create(Path(kind_).c_str());
          return 0;
        },
        {expected_.function});
  }

  std::string WholeTrace(const std::string& text = "") const {
    return Traced("CreateDB.cpp", expected_.function, text);
  }
  std::string OpenTrace(const std::string& text) const {
    return std::string("FILE:CreateDB.cpp:LINE:N:FUNCTION:") + expected_.function + ":START\n" + text;
  }

  bool MakesDirectories() const { return !IsMeterKind(kind_); }

  const Expected& expected_;

 private:
  std::optional<StandIn> script_;
};

TEST_P(CreateDBTest, LeavesADatabaseThatIsThereAlone) {
  fs::create_directories(kDatabaseDirectory);
  WriteFile(Path(kind_), "not looked at");
  NoteScriptCalls();
  const std::string directory = fs::current_path();
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_EQ(outcome.err, "");
  EXPECT_FALSE(fs::exists(kScriptCalls));
  EXPECT_EQ(fs::current_path(), directory);
  EXPECT_EQ(ReadFile(Path(kind_)), "not looked at");
}

TEST_P(CreateDBTest, RunsTheTableScriptWithTheKindsNames) {
  fs::create_directories(kDatabaseDirectory);
  NoteScriptCalls();
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log, "");
  EXPECT_EQ(ReadFile(kScriptCalls), std::string("--command\ncreate_table\n--databasepath\n"
                                                "/vorl/disk/AppData/K740/DataCollector/Db/\n--database\n") +
                                        expected_.database + "\n--table\n" + expected_.table +
                                        "\n--config\n/root/DataCollectorAppComponent/etc/Config/" +
                                        expected_.columns + "\n");
}

// A shell that notes the command it was given.
TEST_P(CreateDBTest, TheCommandLineHasTwoBlanksBeforeTheTable) {
  fs::create_directories(kDatabaseDirectory);
  {
    const StandIn shell("/bin/sh", "#!/usr/bin/bash\nprintf '%s' \"$2\" >/tmp/command\n");
    Create();
  }
  EXPECT_EQ(ReadFile("/tmp/command"),
            std::string("/bin/DatabaseInterface.sh --command \"create_table\" --databasepath "
                        "\"/vorl/disk/AppData/K740/DataCollector/Db/\" --database \"") +
                expected_.database + "\"  --table \"" + expected_.table +
                "\" --config \"/root/DataCollectorAppComponent/etc/Config/" + expected_.columns + "\"");
}

TEST_P(CreateDBTest, MakesATableOfTheConfiguredColumns) {
  MakeTable(kind_);
  const Rows columns = Query(Path(kind_), "SELECT name FROM pragma_table_info('" + Table(kind_) + "')");
  ASSERT_EQ(columns.size(), Config(kind_).ui16_NoOfColumns);
  for (std::size_t column = 0; column < columns.size(); ++column) {
    EXPECT_EQ(columns[column][0], Config(kind_).i8_ColumnNames[column].c_str());
  }
  EXPECT_TRUE(Path(kind_).ends_with(expected_.database));
  EXPECT_EQ(Table(kind_), expected_.table);
}

TEST_P(CreateDBTest, MakesBothDirectoriesOnAFreshDiskOrLeavesThemToAnEarlierKind) {
  NoteScriptCalls();
  ::umask(0);
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_TRUE(fs::exists(kScriptCalls));
  EXPECT_EQ(fs::is_directory(kDatabaseDirectory), MakesDirectories());
  EXPECT_EQ(fs::current_path(),
            MakesDirectories() ? "/vorl/disk/AppData/K740/DataCollector" : kDataDirectory);
  if (MakesDirectories()) {
    const fs::perms mode = fs::status(kDatabaseDirectory).permissions();
    EXPECT_EQ(static_cast<int>(mode), 0755);
    EXPECT_EQ(static_cast<int>(fs::status("/vorl/disk/AppData/K740/DataCollector").permissions()), 0755);
  }
}

TEST_P(CreateDBTest, FailsWhenOnlyTheSecondDirectoryIsMissingUnlessItMakesNone) {
  fs::create_directory("/vorl/disk/AppData/K740/DataCollector");
  NoteScriptCalls();
  const Outcome outcome = Create();
  const std::string text = "failed to create fst directory 'DataCollector'";
  if (MakesDirectories()) {
    EXPECT_EQ(outcome.out, OpenTrace(text + "\n" + kLogTrace));
    EXPECT_EQ(outcome.err, text + ": File exists\n");
    EXPECT_EQ(outcome.log, "T: " + text + "\n");
  } else {
    EXPECT_EQ(outcome.out, WholeTrace());
    EXPECT_EQ(outcome.err, "");
  }
  EXPECT_EQ(fs::exists(kScriptCalls), !MakesDirectories());
}

TEST_P(CreateDBTest, SaysSoWhenTheDataDirectoryIsAFile) {
  fs::remove_all(kDataDirectory);
  WriteFile(kDataDirectory, "");
  NoteScriptCalls();
  const Outcome outcome = Create();
  // A path with a slash behind the file fails in the same way as one without.
  EXPECT_EQ(outcome.out, OpenTrace(kUnusable + std::string(kind_ == AIO ? kLogTrace : "")));
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log, kind_ == AIO ? std::string("T: ") + kUnusable : "");
  EXPECT_FALSE(fs::exists(kScriptCalls));
  fs::remove(kDataDirectory);
}

TEST_P(CreateDBTest, DoesNothingWithoutADataDirectory) {
  fs::remove_all(kDataDirectory);
  NoteScriptCalls();
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_FALSE(fs::exists(kScriptCalls));
}

TEST_P(CreateDBTest, TreatsADatabaseDirectoryThatIsAFileAsMissing) {
  fs::create_directory("/vorl/disk/AppData/K740/DataCollector");
  WriteFile(kDatabaseDirectory, "");
  NoteScriptCalls();
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.err,
            MakesDirectories() ? "failed to create fst directory 'DataCollector': File exists\n" : "");
}

TEST_P(CreateDBTest, TakesNoNoticeOfTheScriptsResult) {
  fs::create_directories(kDatabaseDirectory);
  NoteScriptCalls();
  fs::remove(kTableScript);
  const Outcome outcome = Create();
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_FALSE(fs::exists(Path(kind_)));
}

TEST_P(CreateDBTest, SaysSoWhenTheSecondDirectoryCantBeMade) {
  NoteScriptCalls();
  const mode_t mask = ::umask(0222);
  const Outcome outcome = Create();
  ::umask(mask);
  ::chmod("/vorl/disk/AppData/K740/DataCollector", 0755);
  const std::string text = "failed to create sec directory 'Db'\n";
  EXPECT_EQ(outcome.out, MakesDirectories() ? OpenTrace(text + kLogTrace) : WholeTrace());
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log, MakesDirectories() ? "T: " + text : "");
  EXPECT_EQ(fs::exists(kScriptCalls), !MakesDirectories());
}

TEST_P(CreateDBTest, GoesOnWhenTheFirstDirectoryCantBeEntered) {
  NoteScriptCalls();
  const mode_t mask = ::umask(0777);
  const Outcome outcome = Create();
  ::umask(mask);
  for (const char* made : {"/vorl/disk/AppData/K740/Db", "/vorl/disk/AppData/K740/DataCollector"}) {
    ::chmod(made, 0755);
  }
  EXPECT_EQ(outcome.out, WholeTrace());
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_EQ(fs::exists("/vorl/disk/AppData/K740/Db"), MakesDirectories());
  EXPECT_TRUE(fs::exists(kScriptCalls));
}

INSTANTIATE_TEST_SUITE_P(Kinds, CreateDBTest, ::testing::ValuesIn(kAllKinds), KindName);

TEST_F(StoreTest, TheStartUpOrderMakesAllSixDatabasesOnAFreshDisk) {
  Silently([&] {
    for (const SourceKind kind : kAllKinds) {
      kExpected[kind].create(Path(kind).c_str());
    }
    return 0;
  });
  for (const SourceKind kind : kAllKinds) {
    EXPECT_TRUE(fs::exists(Path(kind))) << Path(kind);
  }
}

}  // namespace
}  // namespace datacollector
