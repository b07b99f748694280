// What the table script makes of a good call.
#include <sys/stat.h>

#include <chrono>
#include <fstream>

#include "unit/tools/TableScript.h"

namespace datacollector {

namespace {

using Rows = std::vector<std::string>;

constexpr const char* kColumns = "StartMark = TEXT\nRecordNumber = INTEGER\nTxStatus = TEXT INDEXED\n";
const Rows kTable{"StartMark TEXT", "RecordNumber INTEGER", "TxStatus TEXT"};

class TableCreation : public TableScript {};

TEST_F(TableCreation, MakesDirectoriesDatabaseAndTable) {
  databaseFolder_ = folder_ / "a" / "b";
  database_ = databaseFolder_ / "Records.db";
  const ScriptResult result = CreateFrom(kColumns);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(Columns(), kTable);
}

TEST_F(TableCreation, LeavesOnlyTheDatabaseInItsFolder) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(DatabaseFolder(), Rows{"Records.db"});
}

TEST_F(TableCreation, ClearsAwayWhatAKillLeftOfAnEarlierRunAndNothingElse) {
  namespace fs = std::filesystem;
  const auto twoHoursAgo = fs::file_time_type::clock::now() - std::chrono::hours(2);
  for (const char* name : {".create.Left01", ".create.Busy01", ".created"}) {
    fs::create_directories(databaseFolder_ / name / "inner");
    std::ofstream(databaseFolder_ / name / "database") << "half of a table";
  }
  fs::last_write_time(databaseFolder_ / ".create.Left01", twoHoursAgo);
  fs::last_write_time(databaseFolder_ / ".created", twoHoursAgo);
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(DatabaseFolder(), (Rows{".create.Busy01", ".created", "Records.db"}));
}

TEST_F(TableCreation, TakesADatabasePathWithoutTrailingSlash) {
  Configure(kColumns);
  std::vector<std::string> arguments = Arguments();
  arguments[3] = databaseFolder_;
  EXPECT_EQ(Run(arguments).status, 0);
  EXPECT_EQ(Columns(), kTable);
}

TEST_F(TableCreation, TakesItsArgumentsInAnyOrder) {
  Configure(kColumns);
  EXPECT_EQ(Run({"--config", config_, "--table", "Records", "--database", "Records.db", "--databasepath",
                 databaseFolder_, "--command", "create_table"})
                .status,
            0);
  EXPECT_EQ(Columns(), kTable);
}

TEST_F(TableCreation, TakesAPathWithBlanksAndQuotes) {
  databaseFolder_ = folder_ / "it's a \"disk\"";
  database_ = databaseFolder_ / "Records.db";
  EXPECT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(Columns(), kTable);
}

TEST_F(TableCreation, AnyOtherValueOrNoneIsText) {
  ASSERT_EQ(CreateFrom("A = REAL\nB =\nC = INTEGERS\nD = VARCHAR(20)\nE = INTEGER PRIMARY KEY\n").status, 0);
  EXPECT_EQ(Columns(), (Rows{"A TEXT", "B TEXT", "C TEXT", "D TEXT", "E TEXT"}));
}

TEST_F(TableCreation, IndexesIntegerColumnsAndThoseThatAskForIt) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(
      QueryRows(database_, "SELECT tbl_name, sql FROM sqlite_master WHERE type = 'index' ORDER BY rowid"),
      (Rows{"Records CREATE INDEX Records_RecordNumber_index ON Records (RecordNumber)",
            "Records CREATE INDEX Records_TxStatus_index ON Records (TxStatus)"}));
}

TEST_F(TableCreation, NewDatabaseHasSmallPages) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(QueryRows(database_, "PRAGMA page_size"), Rows{"512"});
}

TEST_F(TableCreation, RowsKeepTheirRowId) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(QueryRows(database_,
                      "INSERT INTO Records VALUES ('<', 7, 0), ('<', 1, 0);"
                      "SELECT oid, rowid, RecordNumber FROM Records WHERE TxStatus = 0"),
            (Rows{"1 1 7", "2 2 1"}));
}

TEST_F(TableCreation, DatabaseIsReadableForOthers) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  struct stat status {};
  ASSERT_EQ(stat(database_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0666U & ~umask(022));
}

TEST_F(TableCreation, AddsATableToADatabaseThatIsThere) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  ASSERT_EQ(Run(Arguments("More")).status, 0);
  EXPECT_EQ(Columns("Records"), kTable);
  EXPECT_EQ(Columns("More"), kTable);
}

TEST_F(TableCreation, FillsAnEmptyDatabaseFile) {
  std::filesystem::create_directory(databaseFolder_);
  const std::ofstream empty(database_);
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  EXPECT_EQ(Columns(), kTable);
  EXPECT_EQ(QueryRows(database_, "PRAGMA page_size"), Rows{"512"});
}

TEST_F(TableCreation, SameTableAgainChangesNothing) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  QueryRows(database_, "INSERT INTO Records VALUES ('<', 1, '0'); DROP INDEX Records_TxStatus_index");
  const Rows version = QueryRows(database_, "PRAGMA schema_version");
  const ScriptResult again = Run(Arguments());
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.error, "");
  EXPECT_EQ(QueryRows(database_, "PRAGMA schema_version"), version);
  EXPECT_EQ(QueryRows(database_, "SELECT * FROM Records"), Rows{"< 1 0"});
}

TEST_F(TableCreation, RunsAtOnceForOneDatabaseKeepEveryTable) {
  Configure(kColumns);
  std::vector<ScriptRun> runs;
  runs.reserve(6);
  for (int i = 0; i < 6; ++i) {
    runs.push_back(Start(Arguments("Table" + std::to_string(i))));
  }
  for (const ScriptRun& run : runs) {
    const ScriptResult result = run.Wait();
    EXPECT_EQ(result.status, 0) << result.error;
  }
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(Columns("Table" + std::to_string(i)), kTable);
  }
  EXPECT_EQ(DatabaseFolder(), Rows{"Records.db"});
}

TEST_F(TableCreation, RunsAtOnceForOneTableAllSucceed) {
  Configure(kColumns);
  std::vector<ScriptRun> runs;
  runs.reserve(6);
  for (int i = 0; i < 6; ++i) {
    runs.push_back(Start(Arguments()));
  }
  for (const ScriptRun& run : runs) {
    const ScriptResult result = run.Wait();
    EXPECT_EQ(result.status, 0) << result.error;
  }
  EXPECT_EQ(Columns(), kTable);
  EXPECT_EQ(DatabaseFolder(), Rows{"Records.db"});
}

TEST_F(TableCreation, HelpTellsTheArgumentsAndSucceeds) {
  const ScriptResult result = Run({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.error, "");
  for (const char* word : {"--command", "--databasepath", "--database", "--table", "--config", "INTEGER"}) {
    EXPECT_NE(result.output.find(word), std::string::npos) << word;
  }
}

}  // namespace

}  // namespace datacollector
