// Databases that are damaged: put aside, and the record that met the damage stored in a new one.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

class DamageTest : public KindTest {
 protected:
  DamageTest() {
    Config(kind_).ui16_MaxDatabaseAccessRetry = 1;
    MakeTable(kind_);
    Store(kind_, 3);
    CloseConnection(kind_);
    Execute(Path(kind_), "PRAGMA wal_checkpoint(TRUNCATE)");
  }

  // Overwrites a part of the database's file.
  void Overwrite(std::streamoff place, std::size_t bytes) {
    std::fstream file(Path(kind_), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(place);
    file << std::string(bytes, '\xfe');
    ASSERT_TRUE(file.good());
  }

  // The names of what was put aside, in their order.
  std::vector<std::string> Aside() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kDatabaseDirectory)) {
      const std::string name = entry.path().filename();
      if (name.starts_with(fs::path(Path(kind_)).filename().string() + ".damaged-") &&
          !name.ends_with("-wal") && !name.ends_with("-shm")) {
        names.push_back(name);
      }
    }
    std::ranges::sort(names);
    return names;
  }

  void ExpectPutAside() {
    const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
    EXPECT_EQ(outcome.result, 0) << outcome.out;
    const std::vector<std::string> aside = Aside();
    ASSERT_EQ(aside.size(), 1U);
    const std::string notice =
        std::string(kKindIndexWord[kind_]) + " database damaged: put aside as " + aside[0] + "\n";
    EXPECT_NE(outcome.err.find(notice), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.log.find("T: " + notice), std::string::npos) << outcome.log;
    EXPECT_EQ(outcome.err.find("lost"), std::string::npos) << outcome.err;
    EXPECT_EQ(Numbers(kind_), std::vector{4});
    Store(kind_, 1);
    EXPECT_EQ(Numbers(kind_), (std::vector{4, 5}));
  }

  void ExpectLeftAlone() {
    EXPECT_EQ(Silently([&] { return Write(kind_); }), -1);
    EXPECT_TRUE(Aside().empty());
  }
};

TEST_P(DamageTest, AFlippedHeader) {
  Overwrite(0, 100);
  ExpectPutAside();
}

TEST_P(DamageTest, AFlippedPage) {
  Overwrite(512, 512);
  ExpectPutAside();
}

TEST_P(DamageTest, ATruncatedFile) {
  fs::resize_file(Path(kind_), 700);
  ExpectPutAside();
}

TEST_P(DamageTest, AFileThatIsNoDatabase) {
  WriteFile(Path(kind_), std::string(10'000, 'x'));
  ExpectPutAside();
}

TEST_P(DamageTest, WhatWasPutAsideIsWhatWasThere) {
  Overwrite(512, 512);
  const std::string before = ReadFile(Path(kind_));
  ExpectPutAside();
  EXPECT_EQ(ReadFile(std::string(kDatabaseDirectory) + "/" + Aside().at(0)), before);
}

TEST_P(DamageTest, TheRecoveryAtStartMendsIt) {
  Overwrite(0, 100);
  ForgetStore();
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 0);
  EXPECT_EQ(Aside().size(), 1U);
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), std::vector{1});
}

TEST_P(DamageTest, TheTwoNewestAreKeptAndANameIsNeverTakenTwice) {
  std::vector<std::string> contents;
  for (const char letter : {'a', 'b', 'c'}) {
    contents.emplace_back(10'000, letter);
    CloseConnection(kind_);
    WriteFile(Path(kind_), contents.back());
    fs::remove(Path(kind_) + "-wal");
    Store(kind_, 1);
  }
  const std::vector<std::string> aside = Aside();
  ASSERT_EQ(aside.size(), 2U);
  const std::string folder = std::string(kDatabaseDirectory) + "/";
  EXPECT_EQ(ReadFile(folder + aside[0]), contents[1]);
  EXPECT_EQ(ReadFile(folder + aside[1]), contents[2]);
}

TEST_P(DamageTest, ALockIsNone) {
  const LockHolder holder(Path(kind_), LockHolder::Lock::Exclusive);
  ExpectLeftAlone();
}

TEST_P(DamageTest, AFileThatCantBeReadIsNone) {
  fs::rename(Path(kind_), "/vorl/disk/AppData/readable.db");
  fs::create_directory(Path(kind_));
  ExpectLeftAlone();
  fs::remove(Path(kind_));
  fs::rename("/vorl/disk/AppData/readable.db", Path(kind_));
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3, 4}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamageTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
