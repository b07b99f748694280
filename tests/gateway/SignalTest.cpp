// SIGINT, SIGTERM, SIGBUS and SIGPIPE, whatever the daemon is doing when they come.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

// The daemon takes a second at most; the rest is for a machine that runs other tests meanwhile.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::seconds kEndsWithin{4};
#else
constexpr std::chrono::seconds kEndsWithin{2};
#endif

constexpr const char* kHangFifo = "/tmp/hang";

class SignalTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO}).LoopInterval(10);
  }

  void ExpectOrderlyEnd(int signal) {
    const auto before = steady_clock::now();
    daemon->Signal(signal);
    ASSERT_TRUE(ExitedWith(daemon->WaitForExit(), 0));
    EXPECT_LE(steady_clock::now() - before, kEndsWithin);
    const std::string name = signal == SIGINT ? "SIGINT" : "SIGTERM";
    EXPECT_EQ(LoggedInThisRun("DataCollector: " + name), 1);
  }

  static std::ptrdiff_t LoggedInThisRun(const std::string& message) {
    const std::vector<std::string> messages = LogFile::Messages();
    const auto start = std::find(messages.rbegin(), messages.rend(), "DataCollector Started As Daemon");
    return std::count(start.base(), messages.end(), message);
  }

  static void InstallTableScript(const std::string& commands) {
    std::ofstream(kTableScript) << "#!/bin/sh\n" << commands;
  }

  // Waits for the broker to have granted the daemon's subscriptions, for when its output isn't read.
  void WaitUntilSubscribedAtTheBroker() {
    ASSERT_TRUE(broker.Log().WaitForCount("Sending SUBACK to mosqDataCollector",
                                          static_cast<std::size_t>(config.SubscribedTopics())));
  }

  static std::string OutputFile() {
    std::stringstream content;
    content << std::ifstream("/tmp/stdout.txt").rdbuf();
    return content.str();
  }
};

class EndingSignalTest : public SignalTest, public testing::WithParamInterface<int> {};

TEST_P(EndingSignalTest, EndsTheDaemonWith0AndSaysSo) {
  Start();
  ExpectOrderlyEnd(GetParam());
  EXPECT_EQ(Out().Count(GetParam() == SIGINT ? "DataCollector SIGINT\n" : "DataCollector SIGTERM\n"), 1U);
}

TEST_P(EndingSignalTest, EndsTheDaemonAtOnceWhileNobodyReadsItsOutput) {
  httpSendApp = std::make_unique<HttpSendApp>();
  source = std::make_unique<Peer>();
  Launch(ChildProcess::Output::kUnread);
  WaitUntilSubscribedAtTheBroker();
  source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO));
  ASSERT_TRUE(daemon->WaitUntilPipeIsFull());
  ExpectOrderlyEnd(GetParam());
}

TEST_P(EndingSignalTest, EndsTheDaemonAtOnceWhileItWaitsForTheBroker) {
  broker.Kill();
  Launch();
  ASSERT_TRUE(Out().WaitFor("Failure: mosquitto_client_connect\n"));
  ExpectOrderlyEnd(GetParam());
}

TEST_P(EndingSignalTest, EndsTheDaemonAtOnceWhileADatabaseIsLocked) {
  Start();
  Database locker(DatabaseOf(AIO));
  locker.Run("BEGIN EXCLUSIVE");
  ASSERT_TRUE(source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO)));
  ASSERT_TRUE(Out().WaitFor("can't insert record into table AIO_table\n"));
  ExpectOrderlyEnd(GetParam());
}

TEST_P(EndingSignalTest, EndsTheDaemonAndItsShellCommandWhileThatHangs) {
  fs::remove(kHangFifo);
  ASSERT_EQ(::mkfifo(kHangFifo, S_IRUSR | S_IWUSR), 0);
  const Descriptor fifo(::open(kHangFifo, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  InstallTableScript("exec 3>/tmp/hang\necho started >&3\nsleep 1000\n");
  Launch();
  pollfd watched{fifo.Get(), POLLIN, 0};
  ASSERT_EQ(::poll(&watched, 1, std::chrono::milliseconds(kPatience).count()), 1);
  std::array<char, 16> text{};
  ASSERT_GT(::read(fifo.Get(), text.data(), text.size()), 0);

  ExpectOrderlyEnd(GetParam());
  EXPECT_EQ(LoggedInThisRun("CreateDataCollectorDataBases:Creating first time DIO DB"), 0);
  // The other end is closed when the script and what it started are gone.
  watched = {fifo.Get(), POLLIN, 0};
  ASSERT_EQ(::poll(&watched, 1, std::chrono::milliseconds(kPatience).count()), 1);
  EXPECT_TRUE(watched.revents & POLLHUP);
}

INSTANTIATE_TEST_SUITE_P(Signals, EndingSignalTest, testing::Values(SIGINT, SIGTERM),
                         [](const testing::TestParamInfo<int>& signal) {
                           return signal.param == SIGINT ? "Int" : "Term";
                         });

TEST_F(SignalTest, ThirtyEndsUnderAFloodOfRecordsAreAllOrderly) {
  config.RowLimit(AIO, 50);
  for (int round = 0; round < 30 && !HasFailure(); ++round) {
    Start();
    const Transcript::Mark before = Out().End();
    int last = 0;
    for (int record = 0; record < 100; ++record) {
      last = source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, record));
    }
    ASSERT_TRUE(Out().WaitFor("Records Stored in table", before));
    ExpectOrderlyEnd(round % 2 == 0 ? SIGTERM : SIGINT);
    ASSERT_TRUE(source->WaitForCompletion(last));
  }
  EXPECT_EQ(Database(DatabaseOf(AIO)).Query("PRAGMA integrity_check").front().at("integrity_check"), "ok");
  const std::vector<std::string> numbers = ColumnOf(AIO, "RecordNumber");
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    EXPECT_EQ(std::stoi(numbers[i]), std::stoi(numbers[i - 1]) % 50 + 1);
  }
}

TEST_F(SignalTest, ASigbusIsLoggedAndSurvived) {
  Start();
  daemon->Signal(SIGBUS);
  ASSERT_TRUE(Out().WaitFor("DataCollector SIGBUS\n"));
  ASSERT_TRUE(log.WaitFor("DataCollector: SIGBUS"));
  daemon->Signal(SIGBUS);
  ASSERT_TRUE(log.WaitFor("DataCollector: SIGBUS", 2));
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
}

TEST_F(SignalTest, AFloodOfSigbusIsSurvivedWhileRecordsAreStored) {
  Start();
  const Transcript::Mark before = Out().End();
  int last = 0;
  for (int record = 1; record <= 50; ++record) {
    last = source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, record));
    daemon->Signal(SIGBUS);
  }
  ASSERT_TRUE(source->WaitForCompletion(last));
  ASSERT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, 50, before));
  EXPECT_EQ(RowsOf(AIO).size(), 50U);
}

TEST_F(SignalTest, AReaderThatClosesItsEndDoesNotEndTheDaemon) {
  httpSendApp = std::make_unique<HttpSendApp>();
  source = std::make_unique<Peer>();
  Launch(ChildProcess::Output::kUnread);
  WaitUntilSubscribedAtTheBroker();
  daemon->ClosePipe();
  source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO));
  EXPECT_TRUE(httpSendApp->WaitForPackets(AIO, 1));
  EXPECT_TRUE(daemon->Running());
}

TEST_F(SignalTest, WhatWasPrintedBeforeTheEndReachesAFile) {
  httpSendApp = std::make_unique<HttpSendApp>(HttpSendApp::Silent);
  source = std::make_unique<Peer>();
  Launch(ChildProcess::Output::kToFile);
  WaitUntilSubscribedAtTheBroker();
  source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO));
  ASSERT_TRUE(httpSendApp->WaitForPackets(AIO, 1));
  ExpectOrderlyEnd(SIGTERM);
  const std::string output = OutputFile();
  EXPECT_NE(output.find("AIO DataBase written Successfully\n"), std::string::npos);
  EXPECT_NE(output.find("AIDBRecord number 1 publishing"), std::string::npos);
  EXPECT_NE(output.find("DataCollector SIGTERM\n"), std::string::npos);
}

TEST_F(SignalTest, AShellCommandInheritsNeitherSocketNorDatabase) {
  Start();
  InstallTableScript("ls -l /proc/$$/fd >/tmp/descriptors.next\nmv /tmp/descriptors.next /tmp/descriptors\n");
  // With its folder gone the database can't be opened, so that the script runs again, now from the thread
  // that holds the broker's connection.
  fs::remove_all("/vorl/disk/AppData/K740/DataCollector");
  ASSERT_TRUE(source->Publish(FactsOf(AIO).recordTopic, PayloadOf(AIO)));
  ASSERT_TRUE(Out().WaitFor("Out of on msg call back \n"));
  std::stringstream listed;
  listed << std::ifstream("/tmp/descriptors").rdbuf();
  EXPECT_NE(listed.str().find("DatabaseInterface.sh"), std::string::npos) << listed.str();
  EXPECT_EQ(listed.str().find("socket:"), std::string::npos) << listed.str();
  EXPECT_EQ(listed.str().find(".db"), std::string::npos) << listed.str();
}

}  // namespace
}  // namespace datacollector::gateway
