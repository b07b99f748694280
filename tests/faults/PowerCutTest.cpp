// A power cut after any change of the disk, with any part of what no sync had covered: what was said to be
// stored is there, what was said to be updated is updated, and the ring is whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "faults/bench/FaultBench.h"
#include "faults/bench/PowerCuts.h"

namespace datacollector::faults {
namespace {

using gateway::DatabaseOf;
using gateway::FactsOf;
using gateway::HttpSendApp;

constexpr int kRows = 5;
constexpr int kSeeds = 20;
constexpr int kShown = 3;

class PowerCutTest : public FaultBench {
 protected:
  void StartWithFullRing() {
    WanDown();
    Start(HttpSendApp::Silent);
    StoreFrom(AIO, 1, kRows + 2);
  }

  void ExpectNothingLost(PowerCuts& cuts) const {
    const PowerCuts::Result result = cuts.CutEverywhere(Rounds(kSeeds), Seed());
    EXPECT_GT(result.changes, 0U) << "nothing was recorded";
    EXPECT_EQ(result.findings.size(), 0U) << "of " << result.states << " disks";
    for (int shown = 0; shown < kShown && shown < static_cast<int>(result.findings.size()); ++shown) {
      ADD_FAILURE() << result.findings[static_cast<std::size_t>(shown)];
    }
    RecordProperty("changes", static_cast<int>(result.changes));
    RecordProperty("states", static_cast<int>(result.states));
    std::printf("%zu changes, %zu disks\n", result.changes, result.states);
  }
};

TEST_F(PowerCutTest, AnInsertIntoAFullRing) {
  StartWithFullRing();
  PowerCuts cuts(faults, AIO);
  Store(AIO, 100);
  cuts.Promise();
  ExpectNothingLost(cuts);
}

TEST_F(PowerCutTest, InsertsIntoATableThatFills) {
  WanDown();
  Start(HttpSendApp::Silent);
  Store(AIO, 1);
  PowerCuts cuts(faults, AIO);
  for (int request = 2; request <= kRows + 1; ++request) {
    Store(AIO, request);
    cuts.Promise();
  }
  ExpectNothingLost(cuts);
}

TEST_F(PowerCutTest, AStatusUpdate) {
  StartWithFullRing();
  WanUp();
  OpenSendGate();
  const gateway::Packet packet = httpSendApp->WaitForPacket(AIO, 0);
  PowerCuts cuts(faults, AIO);
  httpSendApp->Confirm(packet, 1);
  WaitUntilUpdated(AIO, packet.Number());
  cuts.Promise();
  ExpectNothingLost(cuts);
}

TEST_F(PowerCutTest, ACreationAndTheFirstRecord) {
  WanDown();
  std::filesystem::create_directories(kWatchedFolder);
  PowerCuts cuts(faults, AIO);
  Start(HttpSendApp::Silent);
  cuts.Pass();
  Store(AIO, 1);
  cuts.Promise();
  ExpectNothingLost(cuts);
}

TEST_F(PowerCutTest, TheFirstRecordOfARun) {
  StartWithFullRing();
  Kill();
  PowerCuts cuts(faults, AIO);
  Start(HttpSendApp::Silent);
  Store(AIO, 100);
  cuts.Promise();
  ExpectNothingLost(cuts);
}

TEST_F(PowerCutTest, TheDaemonGoesOnOnWhatIsLeft) {
  for (int round = 0; round < Rounds(3); ++round) {
    StartWithFullRing();
    const PowerCuts cuts(faults, AIO);
    StoreFrom(AIO, 100, 3);
    Kill();
    faults.Record(false);
    cuts.CutOnce(Seed() + static_cast<std::uint32_t>(round));
    Start(HttpSendApp::Silent);
    Store(AIO, 1000);
    ExpectSoundRing(AIO, kRows);
    const std::vector<int> requests = StoredRequests(AIO);
    ASSERT_EQ(requests.size(), static_cast<std::size_t>(kRows));
    EXPECT_EQ(requests.back(), 1000);
    Terminate();
    std::filesystem::remove_all(std::filesystem::path(kWatchedFolder).parent_path());
  }
}

// The bench itself: a disk whose syncs lie must lose something, or the cuts above prove nothing.
TEST_F(PowerCutTest, ADiskWhoseSyncsLieLosesRecords) {
  StartWithFullRing();
  faults.Fail({.kinds = kSync, .error = kOnlyClaimed});
  PowerCuts cuts(faults, AIO);
  Store(AIO, 100);
  cuts.Promise();
  EXPECT_GT(cuts.CutEverywhere(1, Seed()).findings.size(), 0U);
  EXPECT_GT(faults.Failed(), 0U);
}

}  // namespace
}  // namespace datacollector::faults
