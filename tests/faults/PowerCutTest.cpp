// A power cut after any change of the disk, with any part of what no sync had covered: what was said to be
// stored is there, what was said to be updated is updated, and the ring is whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
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
constexpr int kFewSeeds = 4;  // of many changes, or large ones
constexpr int kMostSeeds = 200;
constexpr int kShown = 3;

class PowerCutTest : public FaultBench {
 protected:
  void StartWithFullRing() {
    WanDown();
    Start(HttpSendApp::Silent);
    StoreFrom(AIO, 1, kRows + 2);
  }

  void ExpectNothingLost(PowerCuts& cuts, int seeds = kSeeds) const {
    const PowerCuts::Result result = cuts.CutEverywhere(Rounds(seeds, kMostSeeds), Seed());
    EXPECT_GT(result.changes, 0U) << "nothing was recorded";
    EXPECT_EQ(result.findings.size(), 0U) << "of " << result.states << " disks";
    for (int shown = 0; shown < kShown && shown < static_cast<int>(result.findings.size()); ++shown) {
      ADD_FAILURE() << result.findings[static_cast<std::size_t>(shown)];
    }
    RecordProperty("changes", static_cast<int>(result.changes));
    RecordProperty("states", static_cast<int>(result.states));
    std::printf("%zu changes, %zu disks\n", result.changes, result.states);
  }

  // A daemon that switches the journal of a database that has one, and what it stores then.
  void StartStoreAndCut(const std::string& journal) {
    PowerCuts cuts(faults, AIO);
    Start(HttpSendApp::Silent);
    ASSERT_TRUE(Err().WaitFor(journal)) << Err().All();
    cuts.Promise();
    Store(AIO, 100);
    cuts.Promise();
    ExpectNothingLost(cuts, kFewSeeds);
  }

  bool HasWritten(const std::string& path) const {
    const std::vector<ChangeEntry> changes = faults.Changes();
    return std::any_of(changes.begin(), changes.end(), [&path](const ChangeEntry& entry) {
      return entry.change == Change::Write && entry.path == path;
    });
  }

  // Neither the file nor its log makes any sense.
  static void SpoilTheDatabase() {
    std::filesystem::remove(DatabaseOf(AIO) + "-shm");
    for (const char* ending : {"", "-wal"}) {
      std::ofstream(DatabaseOf(AIO) + ending, std::ios::binary) << std::string(10000, 'x');
    }
  }

  // A daemon that is started on what a cut has left stores the next record.
  void CutAndGoOn(const PowerCuts& cuts, int round) {
    faults.Record(false);
    cuts.CutOnce(Seed() + static_cast<std::uint32_t>(round));
    Start(HttpSendApp::Silent);
    Store(AIO, 1000);
    ExpectSoundRing(AIO, kRows);
    EXPECT_EQ(NewestRequest(AIO), 1000);
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
  ExpectNothingLost(cuts, kFewSeeds);
}

TEST_F(PowerCutTest, TheFirstRecordOfARun) {
  StartWithFullRing();
  Kill();
  PowerCuts cuts(faults, AIO);
  Start(HttpSendApp::Silent);
  Store(AIO, 100);
  cuts.Promise();
  ExpectNothingLost(cuts, kFewSeeds);
}

// The log is nearly full when the recording begins. The record behind the checkpoint begins the log anew,
// over what the checkpoint has taken out of it.
TEST_F(PowerCutTest, ACheckpoint) {
  constexpr std::uintmax_t kNearlyFull = 490000;
  StartWithFullRing();
  int request = 100;
  while (std::filesystem::file_size(DatabaseOf(AIO) + "-wal") < kNearlyFull) {
    Store(AIO, request++);
  }
  PowerCuts cuts(faults, AIO);
  while (!HasWritten(DatabaseOf(AIO))) {
    Store(AIO, request++);
    cuts.Promise();
  }
  for (int behind = 0; behind < 2; ++behind) {
    Store(AIO, request++);
    cuts.Promise();
  }
  ExpectNothingLost(cuts, kFewSeeds);
}

TEST_F(PowerCutTest, ADatabaseThatIsPutAside) {
  StartWithFullRing();
  Terminate();
  SpoilTheDatabase();
  PowerCuts cuts(faults, AIO);
  cuts.Pass(kNoDatabase);
  Start(HttpSendApp::Silent);
  ASSERT_TRUE(Err().WaitFor("AIO database damaged: put aside as "));
  cuts.Pass();
  Store(AIO, 100);
  cuts.Promise();
  ExpectNothingLost(cuts, kFewSeeds);
}

// A disk without shared memory maps can't read a log that others share.
TEST_F(PowerCutTest, ASwitchFromTheLogToTheRollbackJournal) {
  StartWithFullRing();
  Terminate();
  faults.Nature(kNoSharedMemory);
  StartStoreAndCut("AIO database: rollback journal (");
}

TEST_F(PowerCutTest, ASwitchFromTheRollbackJournalToTheLog) {
  faults.Nature(kNoSharedMemory);
  StartWithFullRing();
  Terminate();
  faults.Nature({});
  StartStoreAndCut("AIO database: write-ahead log");
}

TEST_F(PowerCutTest, TheDaemonGoesOnOnWhatIsLeft) {
  for (int round = 0; round < Rounds(3); ++round) {
    StartWithFullRing();
    const PowerCuts cuts(faults, AIO);
    StoreFrom(AIO, 100, 3);
    Kill();
    CutAndGoOn(cuts, round);
    EXPECT_EQ(StoredRequests(AIO).size(), static_cast<std::size_t>(kRows));
    Terminate();
    std::filesystem::remove_all(std::filesystem::path(kWatchedFolder).parent_path());
  }
}

TEST_F(PowerCutTest, TheDaemonGoesOnOnWhatASetAsideHasLeft) {
  for (int round = 0; round < Rounds(3, 100); ++round) {
    StartWithFullRing();
    Terminate();
    SpoilTheDatabase();
    const PowerCuts cuts(faults, AIO);
    Start(HttpSendApp::Silent);
    Store(AIO, 100);
    Kill();
    CutAndGoOn(cuts, round);
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
