// A disk that refuses a call, once or for a while: the daemon stays, what it says to be stored is stored, the
// ring is whole, and it stores again with the first record after the disk has come back.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::FactsOf;
using gateway::HttpSendApp;

constexpr int kRows = 5;

// SQLite tries a lock for ten seconds and more before it says that it can't have it.
constexpr std::chrono::milliseconds kFaultLasts{2000};

struct FailingCall {
  const char* name;
  std::uint32_t kinds;
  std::int32_t error;
};

void PrintTo(const FailingCall& call, std::ostream* out) { *out << call.name; }

// clang-format off
constexpr FailingCall kFailingCalls[] = {
    {"WriteFullDisk",        kWrite,                           ENOSPC},
    {"WriteBrokenDisk",      kWrite,                           EIO},
    {"WriteHalfOfIt",        kWrite,                           kHalfWritten},
    {"SyncBrokenDisk",       kSync,                            EIO},
    {"SyncFullDisk",         kSync,                            ENOSPC},
    {"OpenReadOnlyDisk",     kOpen,                            EROFS},
    {"OpenTooManyFiles",     kOpen,                            EMFILE},
    {"OpenNoMemory",         kOpen,                            ENOMEM},
    {"TruncateBrokenDisk",   kTruncate,                        EIO},
    {"UnlinkBrokenDisk",     kUnlink,                          EIO},
    {"UnlinkReadOnlyDisk",   kUnlink,                          EROFS},
    {"LockBrokenDisk",       kLock,                            EIO},
    {"LockTableFull",        kLock,                            ENOLCK},
    {"MapNoMemory",          kMap,                             ENOMEM},
    {"ChangesReadOnlyDisk",  kWrite | kOpen | kUnlink | kTruncate, EROFS},
    {"EverythingBrokenDisk", kEveryCall,                       EIO},
};
// clang-format on

class FailingCallTest : public FaultBench, public testing::WithParamInterface<FailingCall> {
 protected:
  // A record that was said to be stored is the newest row. One that was said to be lost may be there as well:
  // a sync that failed doesn't tell what it has left undone.
  void OfferAndCompare(int request) {
    const bool stored = Offer(AIO, request, kFaultLasts);
    faults.Heal();
    ASSERT_TRUE(daemon->Running());
    EXPECT_TRUE(!stored || NewestRequest(AIO) == request) << "record " << request;
  }

  // Every call of a record's storing fails once, one after the other.
  void FailAtEachCall() {
    int request = 100;
    std::uint32_t number = 1;
    for (bool more = true; more; ++number) {
      faults.Fail({.kinds = GetParam().kinds, .error = GetParam().error, .first = number, .last = number});
      OfferAndCompare(request++);
      more = faults.Failed() > 0;
      ASSERT_FALSE(HasFailure()) << "at call " << number;
    }
    std::printf("%u calls\n", number - 2);  // the last one was never reached
  }
};

// The store gives a few attempts to a record, so a call that fails once may or may not cost it; what it says
// must be so, and no record may be there twice.
TEST_P(FailingCallTest, OnceAtEachCallInAFullTable) {
  WanDown();
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, kRows + 1);
  FailAtEachCall();
  ExpectSoundRing(AIO, kRows);
}

TEST_P(FailingCallTest, OnceAtEachCallInATableWithRoom) {
  constexpr int kRoom = 1000;
  config.RowLimit(AIO, kRoom);
  WanDown();
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, 2);
  FailAtEachCall();
  ExpectSoundRing(AIO, kRoom);
}

TEST_P(FailingCallTest, UntilTheDiskIsBack) {
  WanDown();
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, kRows + 1);
  for (const std::uint32_t first : {1U, 2U, 4U, 8U}) {
    faults.Fail({.kinds = GetParam().kinds, .error = GetParam().error, .first = first});
    OfferAndCompare(static_cast<int>(first * 10));
    // The disk is back: no further record is lost.
    EXPECT_TRUE(Offer(AIO, static_cast<int>(first * 10 + 1))) << "from call " << first << " on";
    if (HasFailure()) {
      FAIL() << "from call " << first << " on";
    }
  }
  ExpectSoundRing(AIO, kRows);
}

// The folders are there: a level that is made without the one below it is left to the operator.
TEST_P(FailingCallTest, AtTheStart) {
  std::filesystem::create_directories(gateway::kDatabaseFolder);
  WanDown();
  faults.Fail({.kinds = GetParam().kinds, .error = GetParam().error});
  Start(HttpSendApp::Silent);
  Offer(AIO, 1);
  faults.Heal();
  ASSERT_TRUE(daemon->Running());
  EXPECT_TRUE(Offer(AIO, 2));
  ExpectSoundRing(AIO, kRows);
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingCallTest, testing::ValuesIn(kFailingCalls), NameOfCase<FailingCall>);

// Disks that lack something for good.
struct PoorDisk {
  const char* name;
  FailingCalls lacks;
};

void PrintTo(const PoorDisk& disk, std::ostream* out) { *out << disk.name; }

class PoorDiskTest : public FaultBench, public testing::WithParamInterface<PoorDisk> {
 protected:
  // As on a disk that had more, once.
  void MakeTable() {
    config.Install();
    gateway::ChildProcess script(
        {.program = "/bin/sh",
         .arguments = {"sh", gateway::kTableScript, "--command", "create_table", "--databasepath",
                       kWatchedFolder, "--database", FactsOf(AIO).databaseFile, "--table", FactsOf(AIO).table,
                       "--config",
                       "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg"}});
    ASSERT_TRUE(gateway::ExitedWith(script.WaitForExit(), 0)) << script.Err().All();
  }

  void StoreUpdateAndSurviveAKill() {
    Start();
    OpenSendGate();
    StoreFrom(AIO, 1, kRows + 2);
    Kill();
    Start();
    StoreFrom(AIO, 100, kRows);
    ExpectSoundRing(AIO, kRows);
    const std::vector<gateway::Row> rows = gateway::RowsOf(AIO);
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(kRows));
    WaitUntilUpdated(AIO, std::stoi(rows.front().at("RecordNumber")));
  }
};

TEST_P(PoorDiskTest, StoresUpdatesAndSurvivesAKill) {
  MakeTable();
  faults.Nature(GetParam().lacks);
  StoreUpdateAndSurviveAKill();
}

TEST_P(PoorDiskTest, MakesItsTable) {
  faults.Nature(GetParam().lacks);
  WanDown();
  Start(HttpSendApp::Silent);
  EXPECT_TRUE(Offer(AIO, 1));
}

INSTANTIATE_TEST_SUITE_P(Disk, PoorDiskTest,
                         testing::Values(PoorDisk{"WithoutSharedMemory", kNoSharedMemory},
                                         PoorDisk{"WithoutFileLocks", kNoFileLocks}),
                         NameOfCase<PoorDisk>);

}  // namespace
}  // namespace datacollector::faults
