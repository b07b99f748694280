// Files that are no files, or full of anything: an answer comes soon, and says what is wrong.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "ctl/CtlGateway.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

// What stands in a file's place.
struct Hostile {
  const char* name;
  std::function<void(const std::string&)> plant;
};

std::string Rubbish(std::size_t bytes) {
  std::string text(bytes, '\0');
  unsigned state = 1;
  for (char& byte : text) {
    state = state * 1103515245U + 12345U;
    byte = static_cast<char>(state >> 16U);
  }
  return text;
}

const Hostile kHostile[] = {
    {"Pipe", [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
    {"LinkToItself", [](const std::string& path) { fs::create_symlink(path, path); }},
    {"LinkToZeroes", [](const std::string& path) { fs::create_symlink("/dev/zero", path); }},
    {"LinkToTerminal", [](const std::string& path) { fs::create_symlink("/dev/tty", path); }},
    {"Folder", [](const std::string& path) { fs::create_directory(path); }},
    {"Terabyte",
     [](const std::string& path) {
       std::ofstream(path).close();
       fs::resize_file(path, std::uintmax_t{1} << 40U);
     }},
    {"Rubbish", [](const std::string& path) { WriteText(path, Rubbish(100000)); }},
    {"RubbishBehindAHeader",
     [](const std::string& path) {
       WriteText(path, std::string("SQLite format 3\0", 16) + Rubbish(1U << 20U));
     }},
    {"NoByte", [](const std::string& path) { std::ofstream(path).close(); }},
    {"OneLongLine", [](const std::string& path) { WriteText(path, std::string(900000, '{')); }},
};

class HostileTreeTest : public CtlTest, public testing::WithParamInterface<Hostile> {
 protected:
  // Both commands end by themselves, in time and with one of their own statuses.
  static void ExpectAnswers(const std::string& path) {
    for (const char* command : {"check --deep", "status --deep --html /tmp/page.html"}) {
      const auto start = std::chrono::steady_clock::now();
      const Result result =
          RunCommand("timeout 20 " DATACOLLECTOR_BINARY_DIR "/datacollectorctl " + std::string(command));
      // Five seconds on a gateway that does nothing else; here other tests run, under sanitizers.
      EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15))
          << path << ": " << command;
      const bool own = result.status >= 0 && result.status <= 3;
      EXPECT_TRUE(own && (command[0] == 's' || !result.text.empty()))
          << path << ": " << command << ": " << result.status << "\n"
          << result.text;
    }
  }
};

TEST_P(HostileTreeTest, GetsAnAnswerInTime) {
  for (const std::string& path :
       {std::string(kSources), kTopics, Control("AIO"), Columns("AIO"), kAioDatabase, kAioDatabase + "-wal",
        kAioDatabase + "-shm", std::string(kWan), std::string("/tmp/DataCollector.status"),
        std::string("/tmp/DataCollector"), std::string(kRotation)}) {
    SetUp();
    fs::remove_all(path);
    GetParam().plant(path);
    ExpectAnswers(path);
    fs::remove_all(path);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, HostileTreeTest, testing::ValuesIn(kHostile),
                         [](const testing::TestParamInfo<Hostile>& hostile) { return hostile.param.name; });

TEST_F(CtlTest, AFileThatIsNoneIsCalledThat) {
  fs::remove(kSources);
  ASSERT_EQ(::mkfifo(kSources, 0600), 0);
  EXPECT_TRUE(Check().Names("is no regular file, or larger than 1 MB [file-unreadable]"));
  EXPECT_EQ(Ctl("status").status, 3);
}

}  // namespace
}  // namespace datacollector
