// Files and folders that are not what they should be, at the start and while the daemon runs: it stays, and
// where a database can be made at all, it stores again.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

namespace fs = std::filesystem;

using gateway::FactsOf;
using gateway::HttpSendApp;

constexpr int kRows = 5;

const std::string& TheDatabase() {
  static const std::string database = gateway::DatabaseOf(AIO);
  return database;
}

void Overwrite(std::streamoff offset, const std::string& bytes) {
  std::fstream file(TheDatabase(), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(offset);
  file << bytes;
}

void RemoveAll() {
  for (const char* ending : {"", "-journal", "-wal", "-shm"}) {
    fs::remove(TheDatabase() + ending);
  }
}

// When a daemon that runs notices: an open connection reads a page of the file again only when it must.
enum class Seen : std::uint8_t { AtOnce, AtTheNextStart };

struct Damage {
  const char* name;
  Seen seen;
  void (*cause)();
  void (*repair)();  // nullptr: the daemon heals by itself, with the second record at the latest
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

// clang-format off
const Damage kDamages[] = {
    {"FileIsGone", Seen::AtOnce, [] { RemoveAll(); }, nullptr},
    {"OnlyTheDatabaseIsGone", Seen::AtOnce, [] { fs::remove(TheDatabase()); }, nullptr},
    {"FileIsEmpty", Seen::AtOnce, [] { fs::resize_file(TheDatabase(), 0); }, nullptr},
    {"FileIsReplacedByEmpty", Seen::AtOnce, [] { RemoveAll(); std::ofstream{TheDatabase()}; }, nullptr},
    {"FileEndsInThePage1", Seen::AtTheNextStart, [] { fs::resize_file(TheDatabase(), 100); }, nullptr},
    {"FileIsHalved", Seen::AtTheNextStart, [] { fs::resize_file(TheDatabase(), fs::file_size(TheDatabase()) / 2); }, nullptr},
    {"WrongHeader", Seen::AtTheNextStart, [] { Overwrite(0, std::string(16, 'x')); }, nullptr},
    {"FirstPageIsNoise", Seen::AtTheNextStart, [] { Overwrite(0, std::string(512, '\xa5')); }, nullptr},
    {"AllPagesAreNoise", Seen::AtTheNextStart, [] { Overwrite(512, std::string(fs::file_size(TheDatabase()) - 512, '\xa5')); }, nullptr},
    {"AllPagesAreZero", Seen::AtTheNextStart, [] { Overwrite(512, std::string(fs::file_size(TheDatabase()) - 512, '\0')); }, nullptr},
    {"TextInstead", Seen::AtOnce, [] { RemoveAll(); std::ofstream(TheDatabase()) << std::string(10000, 'x'); }, nullptr},
    {"OtherTableInstead", Seen::AtOnce, [] { RemoveAll(); std::ofstream{TheDatabase()}; gateway::Database(TheDatabase()).Run("CREATE TABLE other(x)"); }, [] { RemoveAll(); }},
    {"FolderInstead", Seen::AtOnce, [] { RemoveAll(); fs::create_directory(TheDatabase()); }, [] { fs::remove(TheDatabase()); }},
    {"DanglingLinkInstead", Seen::AtOnce, [] { RemoveAll(); fs::create_symlink("/nowhere/at/all", TheDatabase()); }, [] { fs::remove(TheDatabase()); }},
    {"ReadOnlyFile", Seen::AtOnce, [] { ::chmod(TheDatabase().c_str(), 0444); }, [] { ::chmod(TheDatabase().c_str(), 0644); }},
    {"UnreadableFile", Seen::AtOnce, [] { ::chmod(TheDatabase().c_str(), 0); }, [] { ::chmod(TheDatabase().c_str(), 0644); }},
    {"ReadOnlyFolder", Seen::AtOnce, [] { ::chmod(kWatchedFolder, 0555); }, [] { ::chmod(kWatchedFolder, 0755); }},
    {"FolderIsGone", Seen::AtOnce, [] { fs::remove_all("/vorl/disk/AppData/K740/DataCollector"); }, nullptr},
    {"FileInsteadOfFolder", Seen::AtOnce, [] { fs::remove_all(kWatchedFolder); std::ofstream{kWatchedFolder}; }, [] { fs::remove(kWatchedFolder); fs::create_directory(kWatchedFolder); }},
    {"NoiseBesideIt", Seen::AtOnce, [] { std::ofstream(TheDatabase() + "-journal") << std::string(3000, 'x'); }, [] { fs::remove(TheDatabase() + "-journal"); }},
};
// clang-format on

class DamageTest : public FaultBench, public testing::WithParamInterface<Damage> {
 protected:
  void TearDown() override {
    ::chmod(kWatchedFolder, 0755);
    FaultBench::TearDown();
  }

  void StartAndStore() {
    WanDown();
    Start(HttpSendApp::Silent);
    StoreFrom(AIO, 1, 3);
  }

  // While the damage stands, a record may be lost, but nothing else: not the process, and no word of success
  // for a record that can't be found.
  void ExpectHealed() {
    Offer(AIO, 100);
    ASSERT_TRUE(daemon->Running());
    if (GetParam().repair != nullptr) {
      GetParam().repair();
    }
    Offer(AIO, 101);
    EXPECT_TRUE(Offer(AIO, 102)) << "the kind is dead";
  }

  static void ExpectReadable(int newest = 102) {
    ExpectSoundRing(AIO, kRows);
    EXPECT_EQ(NewestRequest(AIO), newest);
  }
};

TEST_P(DamageTest, WhileRunning) {
  StartAndStore();
  GetParam().cause();
  ExpectHealed();
  if (GetParam().seen == Seen::AtOnce) {
    ExpectReadable();
  }
  // What a connection that is open has not noticed, the next start does.
  Terminate();
  Start(HttpSendApp::Silent);
  EXPECT_TRUE(Offer(AIO, 103));
  ExpectReadable(103);
}

TEST_P(DamageTest, AtTheStart) {
  StartAndStore();
  Terminate();
  GetParam().cause();
  Start(HttpSendApp::Silent);
  ExpectHealed();
  ExpectReadable();
}

INSTANTIATE_TEST_SUITE_P(Of, DamageTest, testing::ValuesIn(kDamages), NameOfCase<Damage>);

}  // namespace
}  // namespace datacollector::faults
