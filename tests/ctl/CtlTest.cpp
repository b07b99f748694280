// datacollectorctl on a gateway's files, without a daemon: what it finds, what it shows, what it repairs.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kConfig = "/root/DataCollectorAppComponent/etc/Config/";
constexpr const char* kSources = "/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg";
constexpr const char* kDatabases = "/vorl/disk/AppData/K740/DataCollector/Db/";
const std::string kAioDatabase = std::string(kDatabases) + "AIODataCollectorDB.db";

struct Result {
  std::string text;
  int status = 0;
  bool Names(const std::string& word) const { return text.find(word) != std::string::npos; }
};

Result Ctl(const std::string& arguments) {
  Result result;
  std::FILE* pipe =
      ::popen((DATACOLLECTOR_BINARY_DIR "/datacollectorctl " + arguments + " 2>&1").c_str(), "r");
  std::array<char, 4096> block;
  while (const std::size_t bytes = std::fread(block.data(), 1, block.size(), pipe)) {
    result.text.append(block.data(), bytes);
  }
  const int status = ::pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string ReadText(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Replaces what matches, which must be there.
void Edit(const std::string& path, const std::string& pattern, const std::string& replacement) {
  const std::string before = ReadText(path);
  const std::string after = std::regex_replace(before, std::regex(pattern), replacement);
  ASSERT_NE(before, after) << path << ": " << pattern;
  WriteText(path, after);
}

void Sql(const std::string& path, const std::string& statements) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(handle, statements.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
  sqlite3_free(error);
  sqlite3_close(handle);
}

std::string Ask(const std::string& path, const std::string& query) {
  sqlite3* handle = nullptr;
  sqlite3_open(path.c_str(), &handle);
  sqlite3_stmt* statement = nullptr;
  std::string answer = "no answer";
  if (sqlite3_prepare_v2(handle, query.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(statement, 0);
    answer = text == nullptr ? "NULL" : reinterpret_cast<const char*>(text);
  }
  sqlite3_finalize(statement);
  sqlite3_close(handle);
  return answer;
}

// Rows of AIO with the numbers of a ring that goes on from `first`; the last `unsent` of them are not sent.
void FillAio(int rows, int unsent, int limit, int first = 1) {
  Sql(kAioDatabase,
      "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + std::to_string(rows) +
          ") INSERT INTO AIO_table (RecordNumber, AI1, TxStatus, TxStatusTime, RecordReadTime) SELECT (i + " +
          std::to_string(first - 1) + ") % " + std::to_string(limit) + " + 1, 'value ' || i, CASE WHEN i < " +
          std::to_string(rows - unsent) +
          " THEN '1' ELSE '0' END, datetime('2026-11-20', '+' || (i * 60 + 30) || ' seconds'), "
          "datetime('2026-11-20', '+' || (i * 60) || ' seconds') FROM n");
}

// The shipped gateway, with its databases as a first start makes them.
class CtlTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all("/root/DataCollectorAppComponent");
    ::chmod(kDatabases, 0755);
    fs::remove_all(kDatabases);
    fs::copy(DATACOLLECTOR_SOURCE_DIR "/gateway/Config/root", "/root",
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    fs::create_directories(kDatabases);
    fs::create_directories("/etc/logrotate.d");
    fs::copy(DATACOLLECTOR_SOURCE_DIR "/gateway/logrotate.d/DataCollectorLogrotateConfig",
             "/etc/logrotate.d/DataCollectorLogrotateConfig", fs::copy_options::overwrite_existing);
    WriteText("/tmp/networkstatus", "1\n");
    MakeAio();
  }

  static void MakeAio() {
    ASSERT_EQ(std::system(("/bin/DatabaseInterface.sh --command create_table --databasepath " +
                           std::string(kDatabases) +
                           " --database AIODataCollectorDB.db --table AIO_table --config " + kConfig +
                           "AIOPerDatabaseColumnsConfig.cfg")
                              .c_str()),
              0);
  }

  static Result Check(const std::string& more = {}) { return Ctl("check --no-environment " + more); }
};

TEST_F(CtlTest, NothingIsFoundOnTheShippedGateway) {
  FillAio(10, 3, 1000);
  const Result result = Check();
  EXPECT_EQ(result.text, "Nothing found.\n");
  EXPECT_EQ(result.status, 0);
}

struct Fault {
  const char* code;
  int status;
  std::function<void()> plant;
};

class FaultTest : public CtlTest, public testing::WithParamInterface<Fault> {};

TEST_P(FaultTest, IsNamedWithItsCode) {
  GetParam().plant();
  const Result result = Check();
  EXPECT_TRUE(result.Names(std::string("[") + GetParam().code + "]")) << result.text;
  EXPECT_EQ(result.status, GetParam().status) << result.text;
  EXPECT_TRUE(Check("--json").Names(std::string("\"code\":\"") + GetParam().code + "\""));
}

std::string Control(const char* kind) { return std::string(kConfig) + kind + "PerDatabaseCtrlConfig.cfg"; }
std::string Columns(const char* kind) { return std::string(kConfig) + kind + "PerDatabaseColumnsConfig.cfg"; }
const std::string kTopics = std::string(kConfig) + "DataCollectorMqtt.cfg";
const std::string kGeneric = std::string(kConfig) + "DataCollectorGeneric.cfg";

INSTANTIATE_TEST_SUITE_P(
    All, FaultTest,
    testing::Values(
        Fault{"file-missing", 2, [] { fs::remove(kGeneric); }},
        Fault{"file-unreadable", 2,
              [] {
                fs::remove(kGeneric);
                ::mkfifo(kGeneric.c_str(), 0600);
              }},
        Fault{"syntax", 2, [] { Edit(kGeneric, "MaintenanceMode = 0;", "MaintenanceMode = ;"); }},
        Fault{"unknown-key", 2, [] { Edit(Control("AIO"), "AIMaxRowsCount", "AIMaxRowCount"); }},
        Fault{"missing-key", 1, [] { Edit(kGeneric, "MaintenanceMode = 0;", ""); }},
        Fault{"wrong-type", 2, [] { Edit(Control("AIO"), "AIMaxReadTry = 3", "AIMaxReadTry = \"3\""); }},
        Fault{"out-of-range", 2,
              [] { Edit(kGeneric, "MaxAppDataReqId = 10000", "MaxAppDataReqId = 70000"); }},
        Fault{"text-cut", 2, [] { Edit(kTopics, "IOModule/Request", std::string(250, 'x')); }},
        Fault{"no-kinds", 2, [] { Edit(kSources, "DataSourceEnable = 1", "DataSourceEnable = 0"); }},
        Fault{"count-low", 1, [] { Edit(kSources, "NoOfSources = 3", "NoOfSources = 2"); }},
        Fault{"interval-zero", 1,
              [] {
                Edit(kSources, "DIODataSourcePerPublishInterval = 60", "DIODataSourcePerPublishInterval = 0");
              }},
        Fault{"columns-missing", 2, [] { WriteText(Columns("DIO"), "# nothing\n"); }},
        Fault{
            "column-unknown", 2,
            [] { Edit(Control("DIO"), "DITxStatusColumn = \"TxStatus\"", "DITxStatusColumn = \"Status\""); }},
        Fault{"number-place", 2,
              [] { Edit(Columns("DIO"), "StartMark = TEXT\n", "StartMark = TEXT\nMore = TEXT\n"); }},
        Fault{"time-columns", 2,
              [] {
                Edit(Control("DIO"), "DIRecordWriteTimeColumn = \"RecordReadTime\"",
                     "DIRecordWriteTimeColumn = \"SourceTime\"");
              }},
        Fault{"database-differs", 2,
              [] { Edit(Control("DIO"), "TableName = \"DIO_table\"", "TableName = \"DIO\""); }},
        Fault{"row-limit", 2, [] { Edit(Control("DIO"), "DIMaxRowsCount = 1000", "DIMaxRowsCount = 0"); }},
        Fault{"topic-empty", 2, [] { Edit(kTopics, "\"IOModule/AIO/Record\"", "\"\""); }},
        Fault{"topic-twice", 2, [] { Edit(kTopics, "IOModule/DIO/Record", "IOModule/AIO/Record"); }},
        Fault{"topic-odd", 1, [] { Edit(kTopics, "HTTPSend/DIO/Status", "HTTPSend/DIO/Staus"); }},
        Fault{"topic-wildcard", 2, [] { Edit(kTopics, "HTTPSend/DIO/Status", "HTTPSend/+/Status"); }},
        Fault{"database-empty", 1, [] { WriteText(kAioDatabase, ""); }},
        Fault{"database-damaged", 2, [] { WriteText(kAioDatabase, std::string(4096, 'x')); }},
        Fault{"database-unreadable", 2,
              [] {
                fs::remove(kAioDatabase);
                ::mkfifo(kAioDatabase.c_str(), 0600);
              }},
        Fault{"table-missing", 1, [] { Sql(kAioDatabase, "DROP TABLE AIO_table"); }},
        Fault{"table-differs", 2, [] { Sql(kAioDatabase, "ALTER TABLE AIO_table ADD COLUMN More"); }},
        Fault{"index-missing", 1, [] { Sql(kAioDatabase, "DROP INDEX AIO_table_TxStatus_index"); }},
        Fault{"limit-raised", 2, [] { FillAio(100, 0, 100, 51); }},
        Fault{"limit-lowered", 2, [] { FillAio(1001, 0, 2000); }},
        Fault{"folder-rights", 2, [] { ::chmod(kDatabases, 0555); }}),
    [](const testing::TestParamInfo<Fault>& fault) {
      return std::regex_replace(std::string(fault.param.code), std::regex("-"), "_");
    });

TEST_F(CtlTest, WhatTheGatewayLacksAroundTheDaemonIsNamed) {
  fs::remove("/tmp/networkstatus");
  fs::remove("/etc/logrotate.d/DataCollectorLogrotateConfig");
  const Result result = Ctl("check");
  EXPECT_TRUE(result.Names("[wan-missing]"));
  EXPECT_TRUE(result.Names("[rotation-missing]"));
  EXPECT_TRUE(result.Names("[broker-down]"));
}

TEST_F(CtlTest, ATriedRecordIsPackedAsTheDaemonPacksIt) {
  const Result good = Ctl(R"(check --try AIO '"S","M",0,7,0,"1","2","t",0,"0",">"')");
  EXPECT_EQ(good.status, 0);
  EXPECT_TRUE(good.Names("RequestID = 7\n") && good.Names("AI2 = \"2\"\n") &&
              good.Names("would be stored\n"));
  const Result few = Ctl(R"(check --try aio '1,2')");
  EXPECT_EQ(few.status, 2);
  EXPECT_TRUE(few.Names("would be refused: 12 values for 21 columns")) << few.text;
  EXPECT_TRUE(Ctl("check --try RS485 '101,1,1,1,1'").Names("meter index 101 must be 1 to 100"));
  EXPECT_TRUE(Ctl("check --try AIO 'random(),1'").Names("no list of numbers"));
}

TEST_F(CtlTest, StatusShowsWhatSqlShows) {
  FillAio(60, 7, 1000);
  Sql(kAioDatabase, "PRAGMA user_version = 5");
  const Result result = Ctl("status --json --kind aio");
  for (const char* figure :
       {"\"unsent_records\":7,", "\"rows\":60,", "\"row_limit\":1000,", "\"newest_record_number\":60,",
        "\"stored_records_ever\":60,", "\"evicted_unsent_records_ever\":5,", "\"records_until_loss\":993,"}) {
    EXPECT_TRUE(result.Names(figure)) << figure << result.text;
  }
  EXPECT_FALSE(result.Names("\"DIO\""));
  EXPECT_TRUE(result.Names("\"evicted\""));
  EXPECT_TRUE(result.Names("\"daemon-down\""));
  EXPECT_EQ(result.status, 2);
}

TEST_F(CtlTest, AFullRingWhoseOldestRowIsUnsentIsCritical) {
  FillAio(1000, 1000, 1000);
  const Result result = Ctl("status --kind aio");
  EXPECT_EQ(result.status, 2);
  EXPECT_TRUE(result.Names("[destroying]")) << result.text;
}

TEST_F(CtlTest, LookingLeavesNothingBehindAndReadsTheLogOfADatabaseThatNobodyHasOpen) {
  Sql(kAioDatabase, "PRAGMA journal_mode = WAL");
  FillAio(5, 2, 1000);
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kAioDatabase.c_str(), &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "UPDATE AIO_table SET TxStatus = 0", nullptr, nullptr, nullptr), SQLITE_OK);
  fs::create_directories("/tmp/copy");
  fs::copy("/root", "/tmp/copy/root", fs::copy_options::recursive);
  fs::create_directories(std::string("/tmp/copy") + kDatabases);
  for (const char* ending : {"", "-wal"}) {
    fs::copy(kAioDatabase + ending, "/tmp/copy" + kAioDatabase + ending);
  }
  EXPECT_TRUE(Ctl("status --json --kind aio").Names("\"unsent_records\":5,"));
  EXPECT_TRUE(Ctl("status --root /tmp/copy/ --json --kind aio").Names("\"unsent_records\":5,"));
  EXPECT_FALSE(fs::exists("/tmp/copy" + kAioDatabase + "-shm"));
  sqlite3_close(writer);
  fs::remove_all("/tmp/copy");
  ASSERT_FALSE(fs::exists(kAioDatabase + "-wal"));
  EXPECT_TRUE(Ctl("status --json --kind aio").Names("\"unsent_records\":5,"));
  EXPECT_FALSE(fs::exists(kAioDatabase + "-wal") || fs::exists(kAioDatabase + "-shm"));
}

TEST_F(CtlTest, MetricsAndPageAreWhole) {
  FillAio(60, 7, 1000);
  EXPECT_EQ(Ctl("status --metrics --output /tmp/gateway.prom").text, "");
  const std::string metrics = ReadText("/tmp/gateway.prom");
  EXPECT_NE(metrics.find("datacollector_unsent_records{kind=\"AIO\"} 7\n"), std::string::npos);
  EXPECT_TRUE(metrics.ends_with("# EOF\n"));
  Ctl("status --html /tmp/page.html");
  const std::string page = ReadText("/tmp/page.html");
  EXPECT_NE(page.find("<polyline"), std::string::npos);
  EXPECT_EQ(page.find("http:"), std::string::npos);
  EXPECT_EQ(page.find("<script"), std::string::npos);
}

TEST_F(CtlTest, HostileTreesEndSoonWithAClearWord) {
  fs::remove(kSources);
  ASSERT_EQ(::mkfifo(kSources, 0600), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Check().status, 2);
  EXPECT_EQ(Ctl("status").status, 3);
  fs::remove(kSources);
  ASSERT_EQ(::symlink(kSources, kSources), 0);
  EXPECT_EQ(Check().status, 2);
  fs::remove(kSources);
  std::ofstream(kSources).close();
  fs::resize_file(kSources, std::uintmax_t{1} << 40U);
  EXPECT_EQ(Check().status, 2);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(CtlTest, WrongUsageIsSaid) {
  for (const char* arguments : {"", "nothing", "status --kind x", "status --root /no/such", "check more",
                                "repair", "repair AIO", "repair AIO --salvage --recreate"}) {
    EXPECT_EQ(Ctl(arguments).status, 64) << arguments;
  }
  EXPECT_EQ(Ctl("--help").status, 0);
  EXPECT_EQ(Ctl("--version").status, 0);
  EXPECT_TRUE(Ctl("--manual").Names(".B limit\\-raised"));
}

TEST_F(CtlTest, ARingWhoseLimitWasRaisedIsRenumberedAndStaysUnsentAndInOrder) {
  FillAio(100, 40, 100, 51);
  const std::string order =
      "SELECT group_concat(AI1 || TxStatus) FROM (SELECT * FROM AIO_table ORDER BY rowid)";
  const std::string before = Ask(kAioDatabase, order);
  const Result dry = Ctl("repair AIO --renumber");
  EXPECT_EQ(dry.status, 0) << dry.text;
  EXPECT_TRUE(dry.Names("100 rows, 40 of them unsent")) << dry.text;
  EXPECT_TRUE(Check().Names("[limit-raised]"));
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 0);
  EXPECT_EQ(Check().status, 0);
  EXPECT_EQ(Ask(kAioDatabase, order), before);
  EXPECT_EQ(Ask(kAioDatabase, "SELECT max(RecordNumber) || ' ' || min(RecordNumber) FROM AIO_table"),
            "100 1");
}

TEST_F(CtlTest, ALoweredLimitCostsTheOldestSentRowsAndNoUnsentOne) {
  FillAio(1010, 1000, 2000);
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 0);
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) || ' ' || sum(TxStatus = 0) FROM AIO_table"), "1000 1000");
  Sql(kAioDatabase, "INSERT INTO AIO_table (RecordNumber, TxStatus) VALUES (1001, '0')");
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 70);
}

TEST_F(CtlTest, ATableWithAnotherShapeIsMigrated) {
  FillAio(20, 5, 1000);
  Sql(kAioDatabase,
      "PRAGMA user_version = 3; ALTER TABLE AIO_table ADD COLUMN More; DROP INDEX AIO_table_TxStatus_index");
  EXPECT_EQ(Ctl("repair AIO --migrate --apply").status, 0);
  EXPECT_EQ(Check().text, "Nothing found.\n");
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) || ' ' || sum(TxStatus = 0) FROM AIO_table"), "20 5");
  EXPECT_EQ(Ask(kAioDatabase, "PRAGMA user_version"), "3");
}

class SalvageTest : public CtlTest, public testing::WithParamInterface<int> {};

TEST_P(SalvageTest, EveryRowOnAPageThatIsLeftIsSaved) {
  FillAio(100, 30, 1000);
  const std::string before = ReadText(kAioDatabase);
  const int page = std::stoi(Ask(kAioDatabase, "PRAGMA page_size"));
  const int pages = static_cast<int>(before.size()) / page;
  // What stands on the leaves that stay, as SQLite itself knows it.
  std::string damaged = before;
  int saved = 100;
  int destroyed = 0;
  for (int number = 1; number <= pages && destroyed < GetParam(); number += 2, ++destroyed) {
    const std::size_t header = static_cast<std::size_t>((number - 1) * page) + (number == 1 ? 100 : 0);
    if (damaged[header] == 0x0d && number != 1) {
      saved -= static_cast<unsigned char>(damaged[header + 3]) * 256 +
               static_cast<unsigned char>(damaged[header + 4]);
    }
    damaged.replace(static_cast<std::size_t>((number - 1) * page), static_cast<std::size_t>(page),
                    std::string(static_cast<std::size_t>(page), 'x'));
  }
  WriteText(kAioDatabase, damaged);
  EXPECT_TRUE(Check().Names("[database-damaged]"));
  const Result result = Ctl("repair AIO --salvage --apply");
  EXPECT_EQ(result.status, 0) << result.text;
  // A page that was given up before the damage may hold copies of rows whose page is destroyed.
  const int found = std::stoi(Ask(kAioDatabase, "SELECT count(*) FROM AIO_table"));
  EXPECT_GE(found, saved);
  EXPECT_TRUE(result.Names(std::to_string(found) + " rows found")) << result.text;
  EXPECT_EQ(Ask(kAioDatabase, "SELECT count(*) FROM AIO_table WHERE AI1 <> 'value ' || (RecordNumber - 1)"),
            "0");
  EXPECT_EQ(Check().text, "Nothing found.\n");
}

INSTANTIATE_TEST_SUITE_P(PagesDestroyed, SalvageTest, testing::Values(1, 6, 12));

}  // namespace
}  // namespace datacollector
