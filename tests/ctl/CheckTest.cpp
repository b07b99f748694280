// Every finding: provoked on the gateway as it ships, and absent there.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <string>

#include "ctl/CtlGateway.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

TEST_F(CtlTest, NothingIsFoundOnTheShippedGateway) {
  FillAio(10, 3, 1000);
  const Result result = Check();
  EXPECT_EQ(result.text, "Nothing found.\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CtlTest, TheSessionThatIsKeptIsAWishLikeOthers) {
  const std::string file = std::string(kConfig) + "DataCollectorMqtt.cfg";
  FillAio(10, 3, 1000);
  Edit(file, "NoOfHTTPPublishTopics", "KeepSession = 1;\nNoOfHTTPPublishTopics");
  EXPECT_EQ(Check().text, "Nothing found.\n");
  Edit(file, "KeepSession = 1", "KeepSession = 2");
  EXPECT_TRUE(Check().Names("'KeepSession' = 2 is stored as 0")) << Check().text;
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
        Fault{"folder-rights", 2, [] { ::chmod(kDatabases, 0555); }},
        Fault{"disk-full", 2, [] { FillDisk(32 * 1024); }},
        Fault{"disk-small", 1, [] { FillDisk(1024 * 1024); }}),
    [](const testing::TestParamInfo<Fault>& fault) {
      return std::regex_replace(std::string(fault.param.code), std::regex("-"), "_");
    });

// Without a broker, whose absence is found in all of these tests.
class EnvironmentTest : public CtlTest, public testing::WithParamInterface<Fault> {};

TEST_F(EnvironmentTest, NothingButABrokerIsMissingAroundTheShippedGateway) {
  FillAio(10, 3, 1000);
  EXPECT_TRUE(std::regex_match(Ctl("check").text, std::regex("error .* \\[broker-down\\]\n  remedy: .*\n")));
}

TEST_P(EnvironmentTest, WhatIsMissingIsNamed) {
  GetParam().plant();
  EXPECT_TRUE(Ctl("check").Names(std::string("[") + GetParam().code + "]"));
  EXPECT_FALSE(Check().Names(GetParam().code));
}

INSTANTIATE_TEST_SUITE_P(All, EnvironmentTest,
                         testing::Values(Fault{"wan-missing", 0, [] { fs::remove(kWan); }},
                                         Fault{"rotation-missing", 0, [] { fs::remove(kRotation); }},
                                         Fault{"script-missing", 0, [] { fs::remove(kTableScript); }},
                                         Fault{"script-missing", 0, [] { ::chmod(kTableScript, 0644); }}),
                         [](const testing::TestParamInfo<Fault>& fault) {
                           return "Fault" + std::to_string(fault.index);
                         });

TEST_F(EnvironmentTest, AClockThatWasNeverSetIsNamed) {
  const std::string clock =
      "LD_PRELOAD=$(echo /usr/lib/*/faketime/libfaketimeMT.so.1) FAKETIME='@2001-09-09 01:46:40' "
      "ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 ";
  const Result result = RunCommand(clock + DATACOLLECTOR_BINARY_DIR "/datacollectorctl check");
  EXPECT_TRUE(result.Names("[clock-wrong]")) << result.text;
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

}  // namespace
}  // namespace datacollector
