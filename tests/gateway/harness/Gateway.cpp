#include "gateway/harness/Gateway.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include "gateway/harness/PrivateRoot.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLinesShown = 60;

constexpr const char* kLoopRound = "ui8_WRMinute = ";
constexpr const char* kForwardingRound = "WAN is UP , Start sending records";
constexpr const char* kMessageDone = "Out of on msg call back \n";

void Show(const std::string& what, const std::vector<std::string>& lines) {
  std::cout << "----- " << what << ", last lines -----\n";
  for (const std::string& line : lines) {
    std::cout << line << "\n";
  }
}

}  // namespace

std::string DaemonProgram() {
  const char* other = std::getenv("DATACOLLECTOR_DAEMON");
  return other == nullptr ? DATACOLLECTOR_BINARY_DIR "/DataCollector" : other;
}

void Gateway::SetUp() {
  if (!InPrivateRoot()) {
    GTEST_FAIL()
        << "This test writes to the daemon's paths: run it through scripts/private-root.sh or ctest.";
  }
  CleanPrivateRoot();
  WanUp();
  broker.Start();
}

void Gateway::TearDown() {
  if (daemon && daemon->Running()) {
    Terminate();
  }
  if (daemon) {
    ExpectNoSanitizerReport();
    Keep();
    if (HasFailure()) {
      ShowLastLines();
    }
  }
}

void Gateway::Launch(ChildProcess::Output output) {
  if (daemon) {
    ASSERT_FALSE(daemon->Running());
    ExpectNoSanitizerReport();
    Keep();
  }
  ++launches_;
  config.Install();
  daemon = std::make_unique<ChildProcess>(ChildProcess::Options{.program = DaemonProgram(),
                                                                .arguments = {"DataCollector"},
                                                                .environment = environment,
                                                                .output = output,
                                                                .outputFile = "/tmp/stdout.txt"});
}

void Gateway::Start(HttpSendApp::Answer answer) {
  if (!httpSendApp) {
    httpSendApp = std::make_unique<HttpSendApp>(std::move(answer));
  }
  if (!source) {
    source = std::make_unique<Peer>();
  }
  Launch();
  WaitUntilSubscribed();
  WaitUntilInLoop();
}

void Gateway::WaitUntilSubscribed() {
  ASSERT_TRUE(Out().WaitForCount("Subscribed (mid: ", static_cast<std::size_t>(config.SubscribedTopics())));
}

void Gateway::WaitUntilInLoop() { ASSERT_TRUE(Out().WaitFor(kLoopRound)); }

void Gateway::Terminate() {
  daemon->Signal(SIGTERM);
  EXPECT_TRUE(ExitedWith(daemon->WaitForExit(), 0));
}

void Gateway::Kill() {
  daemon->Signal(SIGKILL);
  ASSERT_TRUE(daemon->WaitForExit());
}

void Gateway::SetWan(const std::string& firstLine) {
  // Replaced as a whole, so that the daemon never reads half of it.
  const std::string next = std::string(kNetworkStatusFile) + ".next";
  std::ofstream(next) << firstLine << "\n";
  fs::rename(next, kNetworkStatusFile);
}

void Gateway::Store(SourceKind kind, int request) { StoreFrom(kind, request, 1); }

void Gateway::StoreFrom(SourceKind kind, int firstRequest, int count) {
  for (int request = firstRequest; request < firstRequest + count; ++request) {
    const Transcript::Mark before = Out().End();
    ASSERT_TRUE(source->Publish(FactsOf(kind).recordTopic, PayloadOf(kind, request)));
    ASSERT_TRUE(Out().WaitFor(FactsOf(kind).stored, before)) << FactsOf(kind).name << " " << request;
  }
}

void Gateway::Deliver(const std::string& topic, const std::string& payload) {
  const Transcript::Mark before = Out().End();
  ASSERT_TRUE(source->Publish(topic, payload));
  const auto arrived = Out().WaitFor("topic = <" + topic + ">\n", before);
  ASSERT_TRUE(arrived) << topic;
  ASSERT_TRUE(Out().WaitFor(kMessageDone, *arrived)) << topic;
}

void Gateway::WaitUntilUpdated(SourceKind kind, int number, std::size_t times) {
  const std::string text = Fill(FactsOf(kind).updated, {.number = number});
  ASSERT_TRUE(Out().WaitForCount(text, times)) << text;
}

void Gateway::WaitForForwardingRounds(std::size_t rounds) const {
  // The round that is under way doesn't count: it may have looked before.
  ASSERT_TRUE(Out().WaitForCount(kForwardingRound, rounds + 1, Out().End()));
}

void Gateway::WaitForLoopRounds(std::size_t rounds) const {
  ASSERT_TRUE(Out().WaitForCount(kLoopRound, rounds + 1, Out().End()));
}

void Gateway::ExpectNoSanitizerReport() const {
  const std::string errors = Err().All();
  EXPECT_EQ(errors.find("Sanitizer"), std::string::npos) << errors;
  EXPECT_EQ(errors.find("runtime error:"), std::string::npos) << errors;
}

void Gateway::Keep() const {
  const char* folder = std::getenv("DATACOLLECTOR_KEEP");
  if (folder == nullptr) {
    return;
  }
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  std::string name = std::string(test.test_suite_name()) + "." + test.name();
  std::replace(name.begin(), name.end(), '/', '.');
  const fs::path home = fs::path(folder) / name;
  fs::create_directories(home);
  const std::string run = std::to_string(launches_) + ".txt";
  std::ofstream(home / ("stdout" + run)) << Out().All();
  std::ofstream(home / ("stderr" + run)) << Err().All();
  std::ofstream(home / "DataCollectorLog.txt") << LogFile::Text();
}

void Gateway::ShowLastLines() const {
  Show("stdout of the daemon", Out().LastLines(kLinesShown));
  Show("stderr of the daemon", Err().LastLines(kLinesShown));
  Transcript logged;
  logged.Append(LogFile::Text());
  Show("log of the daemon", logged.LastLines(kLinesShown));
  if (broker.Running()) {
    Show("log of the broker", broker.Log().LastLines(kLinesShown));
  }
}

}  // namespace datacollector::gateway
