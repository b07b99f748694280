// A gateway's files as a first start makes them, without a daemon, and datacollectorctl run on them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace datacollector {

inline constexpr const char* kConfig = "/root/DataCollectorAppComponent/etc/Config/";
inline constexpr const char* kSources = "/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg";
inline constexpr const char* kDatabases = "/vorl/disk/AppData/K740/DataCollector/Db/";
inline constexpr const char* kRotation = "/etc/logrotate.d/DataCollectorLogrotateConfig";
inline constexpr const char* kTableScript = "/bin/DatabaseInterface.sh";
inline constexpr const char* kWan = "/tmp/networkstatus";
inline const std::string kAioDatabase = std::string(kDatabases) + "AIODataCollectorDB.db";
inline const std::string kTopics = std::string(kConfig) + "DataCollectorMqtt.cfg";
inline const std::string kGeneric = std::string(kConfig) + "DataCollectorGeneric.cfg";

std::string Control(const char* kind);
std::string Columns(const char* kind);

struct Result {
  std::string text;
  int status = 0;
  bool Names(const std::string& word) const { return text.find(word) != std::string::npos; }
};

// Runs a command line and takes both of its outputs.
Result RunCommand(const std::string& command);
Result Ctl(const std::string& arguments);

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);

// Replaces what matches, which must be there.
void Edit(const std::string& path, const std::string& pattern, const std::string& replacement);

void Sql(const std::string& path, const std::string& statements);
std::string Ask(const std::string& path, const std::string& query);

// Rows of AIO with the numbers of a ring that goes on from `first`; the last `unsent` of them are not sent.
void FillAio(int rows, int unsent, int limit, int first = 1);

// Fills the databases' disk until so many bytes are left, and makes the room again.
void FillDisk(std::uint64_t left);
void FreeDisk();

// The shipped gateway, with the database of AIO as a first start makes it.
class CtlTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  static void MakeDatabase(const std::string& name, const std::string& table, const char* kind);

  static Result Check(const std::string& more = {}) { return Ctl("check --no-environment " + more); }
};

}  // namespace datacollector
