// Load that one application puts on all: a source that publishes nothing but nonsense, an operator who has
// stopped reading the trace. Good records are stored, all of them and in time.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;
using gateway::PayloadOf;
using gateway::Transcript;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kSeconds = 8;
constexpr int kMostSeconds = 300;

constexpr milliseconds kInTime{2000};

// With the attempts and waits of the example configuration, which are a gateway's.
class LoadTest : public gateway::Gateway {
 protected:
  void SetUp() override {
    gateway::Gateway::SetUp();
    config.Only({AIO, DIO, TEMPERATURE, RS485, RS232, SNMP}).LoopInterval(10);
    WanDown();
  }

  // All of them, in order.
  static void ExpectStored(SourceKind kind, int records) {
    std::vector<int> expected(static_cast<std::size_t>(records));
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(FaultBench::StoredRequests(kind), expected) << FactsOf(kind).name;
  }

  // Paces what is published; nothing is expected to have happened within the time.
  static void SleepUntil(steady_clock::time_point begin, milliseconds elapsed) {
    std::this_thread::sleep_until(begin + elapsed);
  }
};

struct BadSource {
  const char* name;
  SourceKind kind;
  const char* payload;
};

void PrintTo(const BadSource& bad, std::ostream* out) { *out << bad.name; }

// clang-format off
const BadSource kBadSources[] = {
    {"NoListOfValues",    AIO,   R"("<","M417",0,7,99,hex(7777),56.78,"2026-11-20 10:00:00",0,"0",">")"},
    {"TooFewValues",      DIO,   R"("<","M417",0,7,99,">")"},
    {"MeterOutOfBounds",  RS485, R"(1,"SITE01","GW0001",0,7,1,99,"2026-11-20 10:00:00",0,"0",">")"},
};
// clang-format on

class BadSourceTest : public LoadTest, public testing::WithParamInterface<BadSource> {};

// Ten bad records a second beside one good one of each other kind. A good record's time is that from its
// publishing to the line that says that it is stored.
TEST_P(BadSourceTest, DelaysAndCostsNoOther) {
  constexpr int kBadPerSecond = 10;
  const int duration = Rounds(kSeconds, kMostSeconds);
  for (const SourceKind kind : kAllKinds) {
    config.RowLimit(kind, kMostSeconds + 1);
  }
  Start(HttpSendApp::Silent);
  gateway::Peer bad;
  milliseconds slowest{0};
  const auto begin = steady_clock::now();
  for (int second = 0; second < duration && !HasFailure(); ++second) {
    const Transcript::Mark before = Out().End();
    const auto published = steady_clock::now();
    for (int record = 0; record < kBadPerSecond; ++record) {
      bad.PublishLater(FactsOf(GetParam().kind).recordTopic, GetParam().payload);
      if (record == kBadPerSecond / 2) {
        for (const SourceKind kind : kAllKinds) {
          source->PublishLater(FactsOf(kind).recordTopic, PayloadOf(kind, second + 1));
        }
      }
    }
    for (const SourceKind kind : kAllKinds) {
      EXPECT_TRUE(Out().WaitFor(FactsOf(kind).stored, before))
          << FactsOf(kind).name << " in second " << second;
    }
    slowest = std::max(slowest, std::chrono::duration_cast<milliseconds>(steady_clock::now() - published));
    SleepUntil(begin, std::chrono::seconds(second + 1));
  }
  EXPECT_LE(slowest, kInTime);
  for (const SourceKind kind : kAllKinds) {
    ExpectStored(kind, duration);
  }
  std::printf("%d bad\n%d good\n%d ms\n", duration * kBadPerSecond, duration * static_cast<int>(kSourceKinds),
              static_cast<int>(slowest.count()));
}

INSTANTIATE_TEST_SUITE_P(Of, BadSourceTest, testing::ValuesIn(kBadSources), NameOfCase<BadSource>);

// The pipe is full within a second; what is behind it the daemon must not wait for.
TEST_F(LoadTest, ATraceThatNobodyReadsCostsNoRecord) {
  constexpr int kPerSecond = 10;
  const int duration = Rounds(kSeconds, kMostSeconds);
  const int records = duration * kPerSecond;
  config.Only({AIO, RS485}).RowLimit(AIO, records + 1).RowLimit(RS485, records + 1);
  httpSendApp = std::make_unique<HttpSendApp>(HttpSendApp::Silent);
  source = std::make_unique<gateway::Peer>();
  Launch(gateway::ChildProcess::Output::kUnread);
  ASSERT_TRUE(broker.Log().WaitForCount("Sending SUBACK to mosqDataCollector",
                                        static_cast<std::size_t>(config.SubscribedTopics())));
  const auto begin = steady_clock::now();
  int last = 0;
  for (int request = 1; request <= records; ++request) {
    source->PublishLater(FactsOf(AIO).recordTopic, PayloadOf(AIO, request));
    last = source->PublishLater(FactsOf(RS485).recordTopic, PayloadOf(RS485, request));
    SleepUntil(begin, milliseconds(request * 1000 / kPerSecond));
  }
  ASSERT_TRUE(source->WaitForCompletion(last));
  ASSERT_TRUE(daemon->WaitUntilPipeIsFull());
  const auto deadline = steady_clock::now() + gateway::kPatience;
  while ((FaultBench::NewestRequest(AIO) < records || FaultBench::NewestRequest(RS485) < records) &&
         steady_clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(50));
  }
  ExpectStored(AIO, records);
  ExpectStored(RS485, records);
  std::printf("%d records\n", 2 * records);
}

}  // namespace
}  // namespace datacollector::faults
