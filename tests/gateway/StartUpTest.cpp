// From the start of the process to the first round of its loop: order, texts, log, databases, subscriptions.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

using StartUpTest = Gateway;

// The recovery of the record numbers, which tries to create what is missing once more, comes after the first
// sleep of the main loop.
constexpr int kRecoveryIsFarAway = 60000;

// In every round of the main loop.
constexpr const char* kRound = "ui8_WRMinute = ";

// In every round, for a meter of a line that is enabled.
std::string AfterWindow(const std::string& kind, int meter, int line) {
  const std::string place = "[" + std::to_string(meter) + "][" + std::to_string(line) + "]";
  return "DBWriteFlags.gui8_" + kind + "WriteRecordsAfterPeriodicMinute" + place +
         " = 0, DBWriteFlags.gui8_" + kind + "WriteRecordsWithinPeriodicMinute" + place + " = 0\n";
}

TEST_F(StartUpTest, AFirstStartPrintsItsTextsInOrder) {
  Start();
  WaitForLoopRounds(1);
  EXPECT_TRUE(Out().WaitForLine(std::regex(R"(FILE:DataCollector\.cpp:LINE:\d+:FUNCTION:main:START)")));
  EXPECT_TRUE(ComesInOrder(Out().All(), GoldenTexts("StartUp", "first start")));
}

TEST_F(StartUpTest, AnAcceptedConnectionIsAnnouncedAndEverySubscriptionGranted) {
  Start();
  EXPECT_TRUE(ComesInOrder(Out().All(), {"on_connect_callback:\n", "Connect Success:\n", "topic_count : 20\n",
                                         "Subscribed (mid: {}): 2\n"}));
  EXPECT_EQ(Out().Count("Subscribed (mid: "), 18U);
}

// What the log says about version and configuration; the digest is that of the files as they are.
std::string VersionLine() {
  for (const std::string& message : LogFile::Messages()) {
    if (message.starts_with("DataCollector " DATACOLLECTOR_VERSION ", configuration ")) {
      return message;
    }
  }
  return "no version in the log";
}

TEST_F(StartUpTest, AFirstStartLogsItsDatabases) {
  Start();
  EXPECT_EQ(LogFile::Messages(),
            (std::vector<std::string>{"DataCollector Started As Daemon", VersionLine(),
                                      "CreateDataCollectorDataBases:Creating first time AIODB",
                                      "CreateDataCollectorDataBases:Creating first time DIO DB",
                                      "CreateDataCollectorDataBases:Creating first time Temperature DB",
                                      "CreateDataCollectorDataBases:Creating first time rs-485 DB",
                                      "CreateDataCollectorDataBases:Creating first time rs-232 DB",
                                      "CreateDataCollectorDataBases:Creating first time SNMP DB",
                                      "CreateDataCollectorDataBases:Success"}));
}

TEST_F(StartUpTest, DatabasesThatAreThereStayAsTheyAre) {
  Start();
  Store(AIO);
  Terminate();
  const std::vector<Row> rows = RowsOf(AIO);
  const std::size_t before = LogFile::Messages().size();
  WanDown();
  Start();
  EXPECT_EQ(Out().Count("Creating first time"), 0U);
  const std::vector<std::string> messages = LogFile::Messages();
  EXPECT_EQ(std::vector<std::string>(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end()),
            (std::vector<std::string>{"DataCollector Started As Daemon", VersionLine(),
                                      "CreateDataCollectorDataBases:Success"}));
  ASSERT_EQ(RowsOf(AIO).size(), 1U);
  EXPECT_EQ(RowsOf(AIO).front().at("RecordReadTime"), rows.front().at("RecordReadTime"));
}

// A daemon with 32 bits for times and file sizes takes such a file for missing.
TEST_F(StartUpTest, ADatabaseFileDated2040IsThere) {
  Start();
  Terminate();
  const timespec future{2209032000, 0};  // 2040-01-01 12:00:00 UTC
  ASSERT_EQ(::utimensat(AT_FDCWD, DatabaseOf(AIO).c_str(), std::array{future, future}.data(), 0), 0);
  Start();
  EXPECT_EQ(Out().Count("Creating first time"), 0U);
}

TEST_F(StartUpTest, ADatabaseFileOfThreeGigabytesIsThere) {
  Start();
  Terminate();
  fs::resize_file(DatabaseOf(AIO), 3'000'000'000);
  Start();
  EXPECT_EQ(Out().Count("Creating first time"), 0U);
}

TEST_F(StartUpTest, TheLogFolderIsMadeWhenItIsMissing) {
  fs::remove_all("/tmp/Log");
  Start();
  EXPECT_TRUE(fs::exists("/tmp/Log/DataCollectorApp/DataCollectorLog.txt"));
}

TEST_F(StartUpTest, TheClientIsOneOfMqtt31WithTheFirst23CharactersOfItsName) {
  Start();
  std::array<char, 256> host{};
  ASSERT_EQ(::gethostname(host.data(), host.size() - 1), 0);
  const std::string id =
      ("mosqDataCollector/" + std::to_string(daemon->Pid()) + "-" + host.data()).substr(0, 23);
  // p1: MQTT 3.1, c1: clean session, k60: keep-alive in seconds.
  EXPECT_EQ(broker.Log().Count(" as " + id + " (p1, c1, k60)."), 1U) << broker.Log().All();
}

TEST_F(StartUpTest, EveryConfiguredTopicIsSubscribedOnceWithQos2) {
  Start();
  const std::vector<std::string> topics = {"IOModule/AIO/Record",
                                           "IOModule/DIO/Record",
                                           "IOModule/DIO/Alarm",
                                           "IOModule/AIO/Alarm",
                                           "EnergyMeter/RS485/Record",
                                           "IOModule/Temperature/Record",
                                           "EnergyMeter/RS232/Record",
                                           "EnergyMeter/RS485/Alarm",
                                           "SNMP/Record",
                                           "HTTPSend/AIO/Status",
                                           "HTTPSend/DIO/Status",
                                           "HTTPSend/Temperature/Status",
                                           "HTTPSend/RS485/Status",
                                           "HTTPSend/RS232/Status",
                                           "HTTPSend/SNMP/Status",
                                           "SNMP/Alarm"};
  for (const std::string& topic : topics) {
    EXPECT_EQ(broker.Log().Count("\t" + topic + " (QoS 2)\n"), 1U) << topic;
  }
  // Two numbers of the example configuration hold this text.
  EXPECT_EQ(broker.Log().Count("\tIOModule/Temperature/Alarm (QoS 2)\n"), 2U);
}

TEST_F(StartUpTest, ATopicNumberLeftEmptyIsNamedOnStandardErrorAndNotSubscribed) {
  Start();
  EXPECT_EQ(Err().Count("SubscribeTopic18"), 1U) << Err().All();
  EXPECT_EQ(Err().Count("SubscribeTopic19"), 1U) << Err().All();
}

TEST_F(StartUpTest, WithoutSubscribeTopicsItRunsAndHearsNothing) {
  config.Set(kMqttFile, "NoOfSubscribeTopics", 0);
  source = nullptr;
  Launch();
  ASSERT_TRUE(Out().WaitFor("topic_count : 0\n"));
  WaitUntilInLoop();
}

TEST_F(StartUpTest, AnInvalidSubscribeTopicEndsTheStart) {
  config.SubscribeTopic(3, "IOModule/#/Alarm");
  Launch();
  EXPECT_TRUE(ExitedWith(daemon->WaitForExit(), 0));
  EXPECT_TRUE(
      ComesInOrder(Out().All(), {"Failure: mosquitto_client_topic_check\n",
                                 "Failure: Mosquitto_Initialization, So returning from Main thread\n"}));
  EXPECT_EQ(Err().Count("Error: Invalid subscription topic 'IOModule/#/Alarm', are all '+' and '#' wildcards "
                        "correct?\n"),
            1U);
}

TEST_F(StartUpTest, WithoutItsSourcesFileItStillBecomesTheDaemon) {
  config.RemoveFile(kSourcesFile);
  Launch();
  ASSERT_TRUE(Out().WaitFor("topic_count : 0\n"));
  WaitUntilInLoop();
  EXPECT_EQ(Err().Count("/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg:0 - "), 1U) << Err().All();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_TRUE(fs::exists(DatabaseOf(kind))) << FactsOf(kind).name;
  }
}

// The forwarding thread prints it as well, but not before a message has opened the send gate.
constexpr const char* kNoSleep = "Sleeping for 0 milliseconds\n";

TEST_F(StartUpTest, WithoutAnIntervalItSleepsOnceAllTheSameBeforeItsForwardingThread) {
  config.LoopInterval(0);
  Launch();
  WaitUntilInLoop();
  EXPECT_TRUE(ComesInOrder(
      Out().All(), {"cfg.quiet : 0\n", "slptm.tv_sec = 0\n", "slptm.tv_nsec = 0\n", kNoSleep,
                    "############### creating thread#####################\n", "ui8_WRMinute = {}\n"}));
  EXPECT_EQ(Out().Count(kNoSleep), 1U);
}

TEST_F(StartUpTest, WithoutAnIntervalRoundsFollowEachOtherWithoutSleeping) {
  config.LoopInterval(0);
  Launch();
  const auto first = Out().WaitFor(kRound);
  ASSERT_TRUE(first);
  ASSERT_TRUE(Out().WaitForCount(kRound, 2, *first));
  EXPECT_EQ(Out().Count(kNoSleep, *first), 0U);
}

// The loop looks at as many lines as the configuration counts, from its first round on.
TEST_F(StartUpTest, TheLoopLooksAtTheLinesThatTheConfigurationCounts) {
  Launch();
  const auto first = Out().WaitFor(kRound);
  ASSERT_TRUE(first);
  const auto second = Out().WaitFor(kRound, *first);
  ASSERT_TRUE(second);
  EXPECT_TRUE(
      ComesInOrder(Out().Since(*first),
                   {"Inside loop\n", "Inside case RS232Line1\n", "Inside case RS232Line1 enable flag\n",
                    AfterWindow("RS485", 0, 0), AfterWindow("RS485", 3, 1), AfterWindow("RS232", 0, 0),
                    AfterWindow("SNMP", 0, 0), "ui8_WRMinute = {}\n"}));
}

TEST_F(StartUpTest, AnApplicationDataFolderThatIsAFileMakesNoDatabases) {
  fs::remove("/vorl/disk/AppData/K740");
  std::ofstream("/vorl/disk/AppData/K740") << "";
  config.LoopInterval(kRecoveryIsFarAway);
  Launch();
  WaitUntilSubscribed();
  EXPECT_EQ(Out().Count("Failed due to Not a directory or I/O Error\n"), 6U);
  const std::vector<std::string> messages = LogFile::Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "Failed due to Not a directory or I/O Error"), 1);
}

TEST_F(StartUpTest, AnApplicationFolderWithoutItsDatabaseFolderStopsTheIoKindsOnly) {
  fs::create_directories("/vorl/disk/AppData/K740/DataCollector");
  config.LoopInterval(kRecoveryIsFarAway);
  Launch();
  WaitUntilSubscribed();
  EXPECT_EQ(Out().Count("failed to create fst directory 'DataCollector'\n"), 3U);
  EXPECT_EQ(Err().Count("failed to create fst directory 'DataCollector': File exists\n"), 3U);
  EXPECT_TRUE(fs::exists(DatabaseOf(RS485)));
}

TEST_F(StartUpTest, EachTableHasItsColumnsInOrder) {
  Start();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(ColumnNamesOf(kind), Split(FactsOf(kind).columns, ',')) << FactsOf(kind).name;
  }
}

TEST_F(StartUpTest, ALogThatCanNotBeWrittenStopsNothing) {
  fs::remove_all("/tmp/Log");
  std::ofstream("/tmp/Log") << "";
  Start();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  Terminate();
  fs::remove("/tmp/Log");
}

TEST_F(StartUpTest, WithItsStandardStreamsClosedItWorksAllTheSame) {
  config.Install();
  httpSendApp = std::make_unique<HttpSendApp>();
  source = std::make_unique<Peer>();
  ChildProcess closed(
      {.program = "/bin/sh", .arguments = {"sh", "-c", "exec " + DaemonProgram() + " <&- >&- 2>&-"}});
  ASSERT_TRUE(broker.Log().WaitForCount("Sending SUBACK to mosqDataCollector",
                                        static_cast<std::size_t>(config.SubscribedTopics())));
  ASSERT_TRUE(source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO)));
  EXPECT_TRUE(httpSendApp->WaitForPackets(AIO, 1));
  closed.Signal(SIGTERM);
  EXPECT_TRUE(ExitedWith(closed.WaitForExit(), 0));
}

}  // namespace
}  // namespace datacollector::gateway
