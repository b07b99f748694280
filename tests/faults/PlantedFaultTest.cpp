// The bench itself: a daemon with a fault planted into it must fail the case that is there to find such a
// fault.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>

#include "faults/bench/FaultBench.h"
#include "faults/bench/PowerCuts.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;

constexpr int kRows = 5;
constexpr std::chrono::milliseconds kShortPatience{5000};

class PlantedFaultTest;

struct PlantedFault {
  const char* name;
  const char* fault;  // of PlantedFaults.cpp; empty: a disk whose syncs lie
  void (PlantedFaultTest::*scenario)();
};

class PlantedFaultTest : public FaultBench, public testing::WithParamInterface<PlantedFault> {
 public:
  void PowerCutAtAnInsert() {
    PowerCuts cuts(faults, AIO);
    Offer(AIO, 100);
    cuts.Promise();
    EXPECT_TRUE(cuts.CutEverywhere(1, Seed()).findings.empty());
    ExpectSoundRing(AIO, kRows);
  }

  void PowerCutWithTheRollbackJournal() {
    Kill();
    faults.Nature(kNoSharedMemory);
    Start(HttpSendApp::Silent);
    PowerCutAtAnInsert();
  }

  void DiskWithoutSharedMemory() {
    Kill();
    faults.Nature(kNoSharedMemory);
    Start(HttpSendApp::Silent);
    EXPECT_TRUE(Offer(AIO, 100));
  }

  void ALogThatStaysSmall() {
    constexpr std::uintmax_t kLargest = 1000000;
    constexpr int kRecords = 400;  // more than such a log holds
    const gateway::Transcript::Mark before = Out().End();
    for (int request = 100; request < 100 + kRecords; ++request) {
      source->PublishLater(FactsOf(AIO).recordTopic, gateway::PayloadOf(AIO, request));
    }
    EXPECT_TRUE(Out().WaitForCount(FactsOf(AIO).stored, kRecords, before));
    EXPECT_LE(std::filesystem::file_size(gateway::DatabaseOf(AIO) + "-wal"), kLargest);
  }

  void RingOverARestart() {
    Kill();
    Start(HttpSendApp::Silent);
    for (int request = 100; request < 103; ++request) {
      Offer(AIO, request);
    }
    ExpectSoundRing(AIO, kRows);
    EXPECT_EQ(StoredRequests(AIO), (std::vector<int>{6, 7, 100, 101, 102}));
  }

  void FailingWrite() {
    faults.Fail({.kinds = kWrite, .error = EIO});
    const bool stored = Offer(AIO, 100);
    faults.Heal();
    EXPECT_EQ(NewestRequest(AIO) == 100, stored);
  }

  void Delivery() {
    WanUp();
    httpSendApp->Set(HttpSendApp::Delivered);
    OpenSendGate();
    EXPECT_TRUE(httpSendApp->WaitForPackets(AIO, 2, kShortPatience));
    const std::vector<gateway::Packet> packets = httpSendApp->Packets(AIO);
    for (std::size_t packet = 1; packet < packets.size(); ++packet) {
      EXPECT_NE(packets[packet].text, packets[packet - 1].text) << "handed over twice";
    }
  }

  void ConfirmationOfAnOlderRow() {
    const gateway::Row row = gateway::RowsOf(AIO).front();
    const std::string otherTime = "2001-01-01 00:00:00";
    Deliver(FactsOf(AIO).statusTopic, "AIO," + otherTime + "," + row.at("RecordNumber") + ",1,t");
    EXPECT_EQ(gateway::ColumnOf(AIO, "TxStatus"), std::vector<std::string>(kRows, "0"));
    Deliver(FactsOf(AIO).statusTopic,
            "AIO," + row.at("RecordReadTime") + "," + row.at("RecordNumber") + ",1,t");
    EXPECT_EQ(gateway::ColumnOf(AIO, "TxStatus").front(), "1");
  }

 protected:
  void StartFull() {
    WanDown();
    Start(HttpSendApp::Silent);
    for (int request = 1; request <= kRows + 2; ++request) {
      Offer(AIO, request);
    }
  }
};

void PrintTo(const PlantedFault& fault, std::ostream* out) { *out << fault.name; }

// clang-format off
constexpr PlantedFault kPlantedFaults[] = {
    {"SyncLeftOut",         "",                   &PlantedFaultTest::PowerCutAtAnInsert},
    {"TwoTransactions",     "two-transactions",   &PlantedFaultTest::PowerCutAtAnInsert},
    {"RemovalNotSynced",    "removal-not-synced", &PlantedFaultTest::PowerCutWithTheRollbackJournal},
    {"TrialIgnored",        "trial-ignored",      &PlantedFaultTest::DiskWithoutSharedMemory},
    {"CheckpointLeftOut",   "checkpoint-left-out", &PlantedFaultTest::ALogThatStaysSmall},
    {"CommitForgotten",     "commit-forgotten",   &PlantedFaultTest::RingOverARestart},
    {"NumberForgotten",     "number-forgotten",   &PlantedFaultTest::RingOverARestart},
    {"DeletesTooMuch",      "deletes-too-much",   &PlantedFaultTest::RingOverARestart},
    {"DeletesNothing",      "deletes-nothing",    &PlantedFaultTest::RingOverARestart},
    {"ErrorSwallowed",      "error-swallowed",    &PlantedFaultTest::FailingWrite},
    {"GivesUp",             "gives-up",           &PlantedFaultTest::FailingWrite},
    {"PacketLost",          "packet-lost",        &PlantedFaultTest::Delivery},
    {"PacketDoubled",       "packet-doubled",     &PlantedFaultTest::Delivery},
    {"StatusForgotten",     "status-forgotten",   &PlantedFaultTest::ConfirmationOfAnOlderRow},
    {"StatusForAnybody",    "status-for-anybody", &PlantedFaultTest::ConfirmationOfAnOlderRow},
};
// clang-format on

// The failures of a run, kept from being those of the test.
int FailuresIn(const std::function<void()>& run) {
  testing::TestPartResultArray results;
  const testing::ScopedFakeTestPartResultReporter reporter(
      testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
  run();
  int failures = 0;
  for (int part = 0; part < results.size(); ++part) {
    failures += results.GetTestPartResult(part).failed() ? 1 : 0;
  }
  return failures;
}

TEST_P(PlantedFaultTest, IsFound) {
  Plant(GetParam().fault);
  if (std::string(GetParam().fault).empty()) {
    faults.Nature({.kinds = kSync, .error = kOnlyClaimed});
  }
  const int failures = FailuresIn([&] {
    StartFull();
    (this->*GetParam().scenario)();
  });
  EXPECT_GT(failures, 0) << "nobody has noticed";
  daemon.reset();
}

// The same cases must be content with the daemon that ships.
TEST_P(PlantedFaultTest, WithoutItAllIsWell) {
  StartFull();
  (this->*GetParam().scenario)();
}

INSTANTIATE_TEST_SUITE_P(Fault, PlantedFaultTest, testing::ValuesIn(kPlantedFaults),
                         NameOfCase<PlantedFault>);

}  // namespace
}  // namespace datacollector::faults
