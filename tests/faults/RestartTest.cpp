// With KeepSession the daemon is restarted again and again under load: every record that the broker has
// acknowledged is stored, in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "faults/bench/FaultBench.h"
#include "support/Texts.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;

constexpr int kRestarts = 5;
constexpr int kRows = 60000;
constexpr std::chrono::milliseconds kBetweenRecords{60};  // of a kind: 100 records a second of all six
constexpr unsigned kLongestLife = 3000;                   // milliseconds

class RestartTest : public FaultBench {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    environment.clear();
    config.Only({AIO, DIO, TEMPERATURE, RS485, RS232, SNMP});
    config.Set(gateway::kMqttFile, "KeepSession", 1);
    for (const SourceKind kind : kAllKinds) {
      config.RowLimit(kind, kRows);
    }
    Start();
    OpenSendGate();
  }

  // A source that publishes the same request of every kind, until it is told to stop.
  class Load {
   public:
    explicit Load(gateway::Peer& peer) : thread_([&](const std::stop_token& stop) { Run(peer, stop); }) {}

    // Returns the last request when the broker has acknowledged everything.
    int Stop() {
      thread_.request_stop();
      thread_.join();
      return request_;
    }

   private:
    void Run(gateway::Peer& peer, const std::stop_token& stop) {
      auto next = std::chrono::steady_clock::now();
      while (!stop.stop_requested()) {
        ++request_;
        std::vector<int> messages;
        for (const SourceKind kind : kAllKinds) {
          messages.push_back(
              peer.PublishLater(FactsOf(kind).recordTopic, gateway::PayloadOf(kind, request_)));
        }
        for (const int message : messages) {
          EXPECT_TRUE(peer.WaitForCompletion(message));
        }
        next += kBetweenRecords;
        std::this_thread::sleep_until(next);
      }
    }

    int request_ = 0;
    std::jthread thread_;
  };

  // However much waits: as long as something arrives.
  static bool WaitUntilArrived(SourceKind kind, int last) {
    for (int newest = NewestRequest(kind); newest != last; newest = NewestRequest(kind)) {
      if (!WaitUntil([&] { return NewestRequest(kind) > newest; })) {
        return false;
      }
    }
    return true;
  }

  // Returns how many of the records are there more than once.
  static int ExpectAllStored(SourceKind kind, int last) {
    const std::vector<int> stored = StoredRequests(kind);
    const std::set<int> different(stored.begin(), stored.end());
    EXPECT_EQ(different.size(), static_cast<std::size_t>(last)) << FactsOf(kind).name;
    EXPECT_TRUE(std::is_sorted(stored.begin(), stored.end())) << FactsOf(kind).name;
    return static_cast<int>(stored.size() - different.size());
  }
};

TEST_F(RestartTest, UnderLoadLosesNothing) {
  std::mt19937 random(Seed());
  int kills = 0;
  int leftOut = 0;
  Load load(*source);
  for (int restart = 0; restart < Rounds(kRestarts); ++restart) {
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % kLongestLife));
    const bool kill = random() % 2 == 0;
    if (kill) {
      Kill();
    } else {
      ASSERT_TRUE(Err().WaitFor("DataCollector "));  // before that the signal ends the process as any other
      Terminate();
    }
    kills += kill ? 1 : 0;
    leftOut += static_cast<int>(Err().Count("record left out"));
    Launch();
  }
  const int last = load.Stop();
  for (const SourceKind kind : kAllKinds) {
    ASSERT_TRUE(WaitUntilArrived(kind, last)) << FactsOf(kind).name << ": " << NewestRequest(kind);
  }
  leftOut += static_cast<int>(Err().Count("record left out"));
  int twice = 0;
  for (const SourceKind kind : kAllKinds) {
    twice += ExpectAllStored(kind, last);
  }
  std::printf("%d restarts, %d of them kills, %d records of each kind, %d left out, %d stored twice\n",
              Rounds(kRestarts), kills, last, leftOut, twice);
  EXPECT_LE(twice, kills);
}

}  // namespace
}  // namespace datacollector::faults
