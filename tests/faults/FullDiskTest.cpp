// Disks that are really full: the databases' one, the one of log and temporary files, both.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

namespace fs = std::filesystem;

using gateway::HttpSendApp;

constexpr int kRows = 200;  // more than the pages of a fresh database hold

constexpr const char* kDatabaseDisk = "/vorl/disk/AppData";
constexpr const char* kTemporaryDisk = "/tmp";

// Takes all space of a disk until it is destroyed.
class Ballast {
 public:
  explicit Ballast(const std::string& disk) : path_(disk + "/ballast") {
    const gateway::Descriptor file(::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    off_t size = 0;
    for (off_t piece = 1 << 20; piece >= 512; piece /= 2) {
      while (::posix_fallocate(file.Get(), size, piece) == 0) {
        size += piece;
      }
    }
  }
  ~Ballast() { fs::remove(path_); }
  Ballast(const Ballast&) = delete;
  Ballast(Ballast&&) = delete;
  Ballast& operator=(const Ballast&) = delete;
  Ballast& operator=(Ballast&&) = delete;

 private:
  std::string path_;
};

struct FullDisks {
  const char* name;
  std::vector<std::string> disks;
  bool databases;
};

void PrintTo(const FullDisks& disks, std::ostream* out) { *out << disks.name; }

const FullDisks kFullDisks[] = {
    {"Databases", {kDatabaseDisk}, true},
    {"LogAndTemporaryFiles", {kTemporaryDisk}, false},
    {"Both", {kDatabaseDisk, kTemporaryDisk}, true},
};

class FullDiskTest : public FaultBench, public testing::WithParamInterface<FullDisks> {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    environment.clear();
    config.RowLimit(AIO, kRows);
    WanDown();
  }

  void Fill() {
    for (const std::string& disk : GetParam().disks) {
      ballast_.push_back(std::make_unique<Ballast>(disk));
    }
  }
  void Empty() { ballast_.clear(); }

 private:
  std::vector<std::unique_ptr<Ballast>> ballast_;
};

TEST_P(FullDiskTest, WhileRunning) {
  Start(HttpSendApp::Silent);
  StoreFrom(AIO, 1, 3);
  Fill();
  std::vector<int> promised = {1, 2, 3};
  bool lost = false;
  for (int request = 10; request < 40; ++request) {
    if (Offer(AIO, request)) {
      promised.push_back(request);
    } else {
      lost = true;
    }
    ASSERT_TRUE(daemon->Running());
  }
  EXPECT_EQ(lost, GetParam().databases) << "the disk was not full, or the wrong one counts";
  Empty();
  EXPECT_TRUE(Offer(AIO, 100));
  promised.push_back(100);
  EXPECT_EQ(StoredRequests(AIO), promised);
  ExpectSoundRing(AIO, kRows);
}

TEST_P(FullDiskTest, AtTheFirstStart) {
  Fill();
  Start(HttpSendApp::Silent);
  Offer(AIO, 1);
  ASSERT_TRUE(daemon->Running());
  Empty();
  EXPECT_TRUE(Offer(AIO, 2)) << "the kind is dead";
  ExpectSoundRing(AIO, kRows);
  EXPECT_EQ(NewestRequest(AIO), 2);
}

INSTANTIATE_TEST_SUITE_P(Of, FullDiskTest, testing::ValuesIn(kFullDisks), NameOfCase<FullDisks>);

}  // namespace
}  // namespace datacollector::faults
