// SIGKILL at a random moment, again and again, in every phase of the daemon's life: after each start the ring
// is whole and nothing that was stored is missing.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;

constexpr int kRows = 20;
constexpr int kCycles = 40;

struct Phase {
  const char* name;
  bool sixKinds;
  bool confirms;  // the HTTP Send App answers
  bool wanUp;
  bool removesTables;  // each start creates them anew
  int records;         // published while the daemon starts, for each kind
  int longestLife;     // milliseconds from the start to the kill
};

void PrintTo(const Phase& phase, std::ostream* out) { *out << phase.name; }

// clang-format off
constexpr Phase kPhases[] = {
    {"Start",         false, false, false, false, 1,   400},
    {"Creation",      true,  false, false, true,  2,   800},
    {"Flood",         true,  false, false, false, 100, 1200},
    {"Confirmations", false, true,  true,  false, 20,  1500},
    {"Outage",        true,  false, true,  false, 20,  1200},
};
// clang-format on

class KillTest : public FaultBench, public testing::WithParamInterface<Phase> {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    environment.clear();
    if (GetParam().sixKinds) {
      config.Only({AIO, DIO, TEMPERATURE, RS485, RS232, SNMP});
    }
    for (const SourceKind kind : kAllKinds) {
      config.RowLimit(kind, kRows);
    }
    GetParam().wanUp ? WanUp() : WanDown();
    source = std::make_unique<gateway::Peer>();
    httpSendApp =
        std::make_unique<HttpSendApp>(GetParam().confirms ? HttpSendApp::Delivered : HttpSendApp::Silent);
  }

  std::vector<SourceKind> Kinds() const {
    return GetParam().sixKinds ? std::vector<SourceKind>(kAllKinds.begin(), kAllKinds.end())
                               : std::vector<SourceKind>{AIO};
  }

  void PublishAll() {
    for (int record = 0; record < GetParam().records; ++record) {
      ++request_;
      for (const SourceKind kind : Kinds()) {
        source->PublishLater(FactsOf(kind).recordTopic, gateway::PayloadOf(kind, request_));
      }
    }
  }

  // A table script outlives the daemon that was killed, and may still make and remove files of its own.
  static void RemoveTables() {
    const std::filesystem::path folder = "/vorl/disk/AppData/K740/DataCollector";
    const auto deadline = std::chrono::steady_clock::now() + gateway::kPatience;
    std::error_code error;
    while (std::filesystem::remove_all(folder, error), std::filesystem::exists(folder)) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << error.message();
    }
  }

  static bool HasTable(SourceKind kind) {
    return std::filesystem::exists(gateway::DatabaseOf(kind)) && !gateway::ColumnNamesOf(kind).empty();
  }

  int request_ = 0;
};

// The life of a process is a span of time by its nature; nothing is expected to have happened within it.
TEST_P(KillTest, LeavesWhatWasStored) {
  std::mt19937 random(Seed());
  std::map<SourceKind, int> newest;
  const int cycles = Rounds(kCycles);
  for (int cycle = 0; cycle < cycles; ++cycle) {
    if (GetParam().removesTables) {
      RemoveTables();
      newest.clear();
    }
    Launch();
    const auto life = std::chrono::milliseconds(random() % static_cast<unsigned>(GetParam().longestLife));
    const auto end = std::chrono::steady_clock::now() + life;
    Out().WaitFor("ui8_WRMinute = ", 0, life);
    PublishAll();
    std::this_thread::sleep_until(end);
    Kill();
    for (const SourceKind kind : Kinds()) {
      if (!HasTable(kind)) {
        EXPECT_FALSE(newest.contains(kind)) << FactsOf(kind).name << ": a table is gone";
        continue;
      }
      ExpectSoundRing(kind, kRows);
      const std::vector<int> requests = StoredRequests(kind);
      const std::size_t said = Out().Count(FactsOf(kind).stored);
      EXPECT_GE(requests.size(), std::min<std::size_t>(said, kRows)) << FactsOf(kind).name;
      if (!requests.empty()) {
        EXPECT_GE(requests.back(), newest[kind]) << FactsOf(kind).name << ": the newest record is gone";
        newest[kind] = requests.back();
      }
    }
    ASSERT_FALSE(HasFailure()) << "cycle " << cycle << ", killed after " << life.count() << " ms";
  }
  std::printf("%d kills\n", cycles);
}

INSTANTIATE_TEST_SUITE_P(In, KillTest, testing::ValuesIn(kPhases), NameOfCase<Phase>);

}  // namespace
}  // namespace datacollector::faults
