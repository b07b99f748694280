// What status shows, in every form.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "ctl/CtlGateway.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

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

TEST_F(CtlTest, ARecordThatWaitsForItsConfirmationIsNoBacklog) {
  FillAio(60, 1, 1000);
  const std::string times =
      "UPDATE AIO_table SET RecordReadTime = datetime('now', 'localtime', ((RecordNumber - ";
  Sql(kAioDatabase, times + "60) * 60) || ' seconds')");
  EXPECT_TRUE(Ctl("status --json --kind aio").Names("\"time_until_loss_seconds\":60"))
      << "a thousand minutes";
  EXPECT_FALSE(Ctl("status --kind aio").Names("[loss-soon]"));
  Sql(kAioDatabase, times + "80) * 60) || ' seconds')");
  EXPECT_TRUE(Ctl("status --kind aio").Names("[loss-soon]"));
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
  const Result parsed = RunCommand(
      "python3 -c \"from prometheus_client.openmetrics.parser import text_string_to_metric_families as read;"
      "print({s.name: s.value for f in read(open('/tmp/gateway.prom').read()) for s in f.samples"
      " if s.labels.get('kind') == 'AIO'}['datacollector_unsent_records'])\"");
  EXPECT_EQ(parsed.text, "7\n");
  Ctl("status --html /tmp/page.html");
  const std::string page = ReadText("/tmp/page.html");
  EXPECT_NE(page.find("<polyline"), std::string::npos);
  EXPECT_EQ(page.find("http:"), std::string::npos);
  EXPECT_EQ(page.find("<script"), std::string::npos);
}

TEST_F(CtlTest, WrongUsageIsSaid) {
  for (const char* arguments : {"", "nothing", "status --kind x", "status --root /no/such", "check more",
                                "repair", "repair AIO", "repair AIO --salvage --recreate"}) {
    EXPECT_EQ(Ctl(arguments).status, 64) << arguments;
  }
  EXPECT_EQ(Ctl("--help").status, 0);
  EXPECT_EQ(Ctl("--version").status, 0);
}

// Cross builds install the page as it lies here, because they can't run the program.
TEST_F(CtlTest, TheManualPageIsTheOneThatTheProgramPrints) {
  EXPECT_EQ(Ctl("--manual").text, ReadText(DATACOLLECTOR_SOURCE_DIR "/packaging/man/datacollectorctl.1"))
      << "datacollectorctl --manual >packaging/man/datacollectorctl.1";
}

}  // namespace
}  // namespace datacollector
