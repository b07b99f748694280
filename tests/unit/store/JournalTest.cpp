// The way a database is kept on disks that can, can't, and can't even lock.

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "unit/store/DiskFault.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 3> kDiskNames = {"AnyDisk", "NoSharedMaps", "NoFileLocks"};

class JournalTest : public StoreTest,
                    public ::testing::WithParamInterface<std::tuple<DiskFault, SourceKind>> {
 protected:
  JournalTest() : fault_(std::get<0>(GetParam())), kind_(std::get<1>(GetParam())) { disk_.emplace(fault_); }
  ~JournalTest() override { Repair(); }

  // From here on the test itself can look at the database.
  void Repair() {
    ForgetStore();
    disk_.reset();
  }

  Outcome WriteOne() {
    return Observe([&] { return Write(kind_); });
  }

  // Bytes 18 and 19 of a database tell what it is kept with.
  bool NeedsLog() { return ReadFile(Path(kind_)).at(18) == 2; }

  std::string Said() const {
    const std::string word = kKindIndexWord[kind_];
    switch (fault_) {
      case DiskFault::None:
        return word + " database: write-ahead log\n";
      case DiskFault::NoSharedMaps:
        return word + " database: rollback journal (";
      default:
        return word + " database: rollback journal, lock file (";
    }
  }

  const DiskFault fault_;
  const SourceKind kind_;

 private:
  std::optional<FaultyDisk> disk_;
};

TEST_P(JournalTest, ARecordGoesItsWholeRoad) {
  Config(kind_).ui16_MAXRecords = 3;
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, 0) << outcome.out << outcome.err;
  EXPECT_TRUE(outcome.err.starts_with(Said())) << outcome.err;
  EXPECT_EQ(CountOf("\n", outcome.err), 1U);
  EXPECT_EQ(WriteOne().err, "");  // said once
  Store(kind_, 2);
  RecordingHandOver handOver;
  EXPECT_EQ(Silently([&] { return ReadUnsent(kind_, handOver); }), 2);
  DatabaseUpdate& update = Main().DataCollectorDBUpdate[kind_];
  update.i32_RecordNum = 1;  // the newest, whose time the kind remembers
  update.i32_TxStatus = 1;
  update.i8_RecordReadTimeStamp = Main().DataCollectorDBData.i8_ReadTimeStamp[kind_];
  update.i8_TxTimeStamp.Assign("2026-11-20 10:00:09");
  EXPECT_EQ(Silently([&] { return Update(kind_); }), 0);
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 1);
  EXPECT_EQ(NeedsLog(), fault_ == DiskFault::None);
  Repair();
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
  EXPECT_EQ(Select(kind_, "COUNT(*)", "WHERE TxStatus = 1"), (Rows{{"1"}}));
}

TEST_P(JournalTest, TheTrialLeavesNothingBehind) {
  WriteOne();
  for (const auto& entry : fs::directory_iterator(kDatabaseDirectory)) {
    EXPECT_EQ(entry.path().string().find(".trial"), std::string::npos) << entry.path();
    EXPECT_FALSE(entry.path().string().ends_with(".lock")) << entry.path();
  }
}

// From a disk that could keep a log, with rows that are in the log alone.
TEST_P(JournalTest, ADatabaseThatArrivesWithALogIsReadAndTurnedBackWhereItMust) {
  Repair();
  SetAllRecovered();
  MakeTable(kind_);
  Store(kind_, 2);
  ASSERT_TRUE(NeedsLog());
  ASSERT_GT(fs::file_size(Path(kind_) + "-wal"), 0U);
  ForgetStore();
  const FaultyDisk disk(fault_);
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 2);
  EXPECT_EQ(NeedsLog(), fault_ == DiskFault::None);
  Store(kind_, 2);
  ForgetStore();
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 4);
  ForgetStore();
}

TEST_P(JournalTest, ALockThatADeadProcessLeftIsRemoved) {
  fs::create_directories(Path(kind_) + ".lock");
  EXPECT_EQ(WriteOne().result, 0);
  if (fault_ == DiskFault::NoFileLocks) {
    EXPECT_FALSE(fs::exists(Path(kind_) + ".lock"));
  }
}

INSTANTIATE_TEST_SUITE_P(Disks, JournalTest,
                         ::testing::Combine(::testing::Values(DiskFault::None, DiskFault::NoSharedMaps,
                                                              DiskFault::NoFileLocks),
                                            ::testing::ValuesIn(kAllKinds)),
                         [](const auto& test) {
                           return std::string(kDiskNames[static_cast<std::size_t>(std::get<0>(test.param))]) +
                                  kKindWord[std::get<1>(test.param)];
                         });

}  // namespace
}  // namespace datacollector
