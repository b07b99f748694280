#include "ctl/CtlGateway.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace datacollector {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBallast = "/vorl/disk/AppData/ballast";

}  // namespace

std::string Control(const char* kind) { return std::string(kConfig) + kind + "PerDatabaseCtrlConfig.cfg"; }
std::string Columns(const char* kind) { return std::string(kConfig) + kind + "PerDatabaseColumnsConfig.cfg"; }

Result RunCommand(const std::string& command) {
  Result result;
  std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  std::array<char, 4096> block;
  while (const std::size_t bytes = std::fread(block.data(), 1, block.size(), pipe)) {
    result.text.append(block.data(), bytes);
  }
  const int status = ::pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

Result Ctl(const std::string& arguments) {
  return RunCommand(DATACOLLECTOR_BINARY_DIR "/datacollectorctl " + arguments);
}

std::string ReadText(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

void Edit(const std::string& path, const std::string& pattern, const std::string& replacement) {
  const std::string before = ReadText(path);
  const std::string after = std::regex_replace(before, std::regex(pattern), replacement);
  ASSERT_NE(before, after) << path << ": " << pattern;
  WriteText(path, after);
}

void Sql(const std::string& path, const std::string& statements) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(handle, statements.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
  sqlite3_free(error);
  sqlite3_close(handle);
}

std::string Ask(const std::string& path, const std::string& query) {
  sqlite3* handle = nullptr;
  sqlite3_open(path.c_str(), &handle);
  sqlite3_stmt* statement = nullptr;
  std::string answer = "no answer";
  if (sqlite3_prepare_v2(handle, query.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(statement, 0);
    answer = text == nullptr ? "NULL" : reinterpret_cast<const char*>(text);
  }
  sqlite3_finalize(statement);
  sqlite3_close(handle);
  return answer;
}

void FillAio(int rows, int unsent, int limit, int first) {
  Sql(kAioDatabase,
      "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + std::to_string(rows) +
          ") INSERT INTO AIO_table (RecordNumber, AI1, TxStatus, TxStatusTime, RecordReadTime) SELECT (i + " +
          std::to_string(first - 1) + ") % " + std::to_string(limit) + " + 1, 'value ' || i, CASE WHEN i < " +
          std::to_string(rows - unsent) +
          " THEN '1' ELSE '0' END, datetime('2026-11-20', '+' || (i * 60 + 30) || ' seconds'), "
          "datetime('2026-11-20', '+' || (i * 60) || ' seconds') FROM n");
}

void FillDisk(std::uint64_t left) {
  struct statvfs room {};
  ASSERT_EQ(::statvfs(kDatabases, &room), 0);
  const std::uint64_t free = std::uint64_t{room.f_bavail} * room.f_frsize;
  ASSERT_GT(free, left);
  const int ballast = ::open(kBallast, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_EQ(::posix_fallocate(ballast, 0, static_cast<off_t>(free - left)), 0);
  ::close(ballast);
}

void FreeDisk() { fs::remove(kBallast); }

void CtlTest::SetUp() {
  for (const fs::directory_entry& component : fs::directory_iterator("/root")) {
    fs::remove_all(component);
  }
  ::chmod(kDatabases, 0755);
  fs::remove_all(kDatabases);
  fs::copy(DATACOLLECTOR_SOURCE_DIR "/gateway/Config/root", "/root", fs::copy_options::recursive);
  fs::create_directories(kDatabases);
  fs::create_directories("/etc/logrotate.d");
  fs::copy(DATACOLLECTOR_SOURCE_DIR "/gateway/logrotate.d/DataCollectorLogrotateConfig", kRotation,
           fs::copy_options::overwrite_existing);
  fs::copy(DATACOLLECTOR_SOURCE_DIR "/gateway/DatabaseInterface.sh", kTableScript,
           fs::copy_options::overwrite_existing);
  WriteText(kWan, "1\n");
  MakeDatabase("AIODataCollectorDB.db", "AIO_table", "AIO");
}

void CtlTest::TearDown() { FreeDisk(); }

void CtlTest::MakeDatabase(const std::string& name, const std::string& table, const char* kind) {
  ASSERT_EQ(RunCommand(std::string(kTableScript) + " --command create_table --databasepath " + kDatabases +
                       " --database " + name + " --table " + table + " --config " + Columns(kind))
                .status,
            0);
}

}  // namespace datacollector
