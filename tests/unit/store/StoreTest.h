// What the tests of the store share: the store of a gateway with the example configuration, one way to call
// each operation for every kind, and what an operation printed and logged.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "store/Database.h"
#include "store/ReadRecords.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {

// Rows of a query; a NULL is "NULL".
using Rows = std::vector<std::vector<std::string>>;
Rows Query(const std::string& path, const std::string& statement);

// Runs statements; a failure fails the test.
void Execute(const std::string& path, const std::string& statements);

// What one operation did.
struct Outcome {
  int result;
  std::string out;  // folded, without line numbers and clock readings
  std::string err;
  std::string log;  // with "T" for each time stamp
};
Outcome Observe(const std::function<int()>& operation, std::initializer_list<std::string_view> open = {});

// Another program in the place of one of the gateway, as long as it lives.
class StandIn {
 public:
  StandIn(const std::string& path, const std::string& text);
  ~StandIn();
  StandIn(const StandIn&) = delete;
  StandIn(StandIn&&) = delete;
  StandIn& operator=(const StandIn&) = delete;
  StandIn& operator=(StandIn&&) = delete;

 private:
  const std::string path_;
  const std::string aside_;  // where the real one is meanwhile
};
inline constexpr const char* kTableScript = "/bin/DatabaseInterface.sh";

// What a line of the log file leaves in the trace.
inline constexpr const char* kLogTrace = "<GetTimeStamp>\n";

// Runs an operation whose words don't matter. Returns its result.
int Silently(const std::function<int()>& operation);

// What the meter kinds' writers and readers print to wait `milliseconds`.
std::string SleepLines(int milliseconds);

// The hand-over of a test: remembers the calls in their order.
class RecordingHandOver : public RecordHandOver {
 public:
  explicit RecordingHandOver(bool accepts = true) : accepts_(accepts) {}

  void Announce(std::int32_t recordNumber) override {
    calls.push_back("announce " + std::to_string(recordNumber));
  }
  bool Publish(const char* topic, const char* packet) override {
    calls.push_back(std::string("publish on ") + topic);
    packets.emplace_back(packet);
    return accepts_;
  }
  void Withdraw() override { calls.emplace_back("withdraw"); }
  void Recall() override { calls.emplace_back("recall"); }

  std::vector<std::string> calls;
  std::vector<std::string> packets;

 private:
  bool accepts_;
};

constexpr const char* kDatabaseDirectory = "/vorl/disk/AppData/K740/DataCollector/Db";
constexpr const char* kReadTime = "2026-11-20 10:00:05";

// Example record data of a kind, as the source application sends it (meter kinds: behind the meter index).
std::string ExampleData(SourceKind kind);

class StoreTest : public ::testing::Test {
 protected:
  StoreTest();
  void TearDown() override;

  static DataCollectorMainStructure& Main() { return gMainState; }
  static DatabaseConfig& Config(SourceKind kind) { return gMainState.DataCollectorDBConfig[kind]; }
  static DatabaseParams& Params(SourceKind kind) { return gMainState.DataCollectorDBParams[kind]; }
  static std::uint16_t& Number(SourceKind kind) {
    return gMainState.DataCollectorDBData.ui16_DBRecordNumber[kind];
  }
  static std::string Path(SourceKind kind) { return Config(kind).i8_DatabaseName.c_str(); }
  static std::string Table(SourceKind kind) { return Config(kind).i8_TableName.c_str(); }

  // Makes the kind's table with the gateway's script, and opens it.
  static void MakeTable(SourceKind kind);

  // Makes the kind's database, with a table of another name, and opens it.
  static void MakeDatabaseWithoutTable(SourceKind kind);

  // The store as at start, and what a test sees of it. Each test begins with all kinds recovered.
  static void ForgetStore();
  static void SetAllRecovered();
  static bool IsRecovered(SourceKind kind);
  // Closes the calling thread's connection; the next operation opens anew.
  static void CloseConnection(SourceKind kind);

  // Puts record data where the kind's packer finds that of the first meter of the first line.
  static void Receive(SourceKind kind, const std::string& data);
  // The kind's operations, for the first meter of the first line.
  static int Write(SourceKind kind);
  static int ReadLast(SourceKind kind);
  static int Update(SourceKind kind);
  static int ReadUnsent(SourceKind kind, RecordHandOver& handOver);

  // Stores example records until the kind's number is `last`.
  static void Store(SourceKind kind, int records);
  // The record numbers of the table, oldest row first.
  static std::vector<int> Numbers(SourceKind kind);
  static Rows Select(SourceKind kind, const std::string& columns, const std::string& rest = "");
};

// The same for each kind.
class KindTest : public StoreTest, public ::testing::WithParamInterface<SourceKind> {
 protected:
  KindTest() : kind_(GetParam()), word_(kKindFunctionWord[kind_]) {}

  const SourceKind kind_;
  const std::string word_;  // in function names

  // The notice of a record that was not stored.
  std::string Lost(const std::string& reason) const {
    return std::string(kKindIndexWord[kind_]) + " record lost: " + reason + "\n";
  }
};

inline std::string KindName(const ::testing::TestParamInfo<SourceKind>& info) {
  return kKindWord[info.param];
}

constexpr std::initializer_list<SourceKind> kIoKindList = {AIO, DIO, TEMPERATURE};
constexpr std::initializer_list<SourceKind> kMeterKindList = {RS485, RS232, SNMP};

}  // namespace datacollector
