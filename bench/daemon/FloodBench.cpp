// Floods the daemon with AIO records over a real broker into a full ring, and times a bare loop of the same
// SQL in turn with it. Runs in the private root; the databases lie in the folder that DATACOLLECTOR_KEEP
// names, on a real disk.
//
// Usage: flood_bench DAEMON SYNC_COUNTER [ROUNDS [RECORDS]]

#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "daemon/WatchedDaemon.h"
#include "gateway/harness/ChildProcess.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/Peer.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

constexpr int kRing = 1000;
constexpr const char* kStored = "AIO DataBase written Successfully";
constexpr const char* kPayload = R"("<","M417",0,7,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")";
constexpr const char* kColumns =
    "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,SourceStartMark,"
    "SourceModel,SourceRecordType,SourceRequestID,SourceResponseCode,AI1,AI2,SourceTime,TxStatus,"
    "TxStatusTime,"
    "SourceEndMark,RecordReadTime,EndMark";

struct Figures {
  double perSecond;
  double cpuPerRecord;  // microseconds
  double syncsPerRecord;
};

// A count that another process keeps; see CountSyncs.cpp.
std::uint64_t ReadCounter(const fs::path& path) {
  std::uint64_t count = 0;
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(&count), sizeof count);
  return count;
}

class Database {
 public:
  explicit Database(const std::string& path) {
    if (sqlite3_open(path.c_str(), &handle_) != SQLITE_OK) {
      Fail("can't open " + path);
    }
    sqlite3_busy_timeout(handle_, 100);
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  }
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database(Database&&) = delete;
  Database& operator=(const Database&) = delete;
  Database& operator=(Database&&) = delete;

  void Run(const std::string& statement) {
    if (sqlite3_exec(handle_, statement.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      Fail(statement + ": " + sqlite3_errmsg(handle_));
    }
  }

 private:
  sqlite3* handle_ = nullptr;
};

std::string InsertStatement(int number) {
  return std::string("insert into AIO_table (") + kColumns +
         R"() values ("<","SITE01","GW0001",0,7,"ORU2_1.0.0",99,)" + std::to_string(number) + "," + kPayload +
         R"(,"2026-11-20 10:00:01",">");)";
}

void MakeRing(const fs::path& folder, const std::string& file) {
  const std::string command = "/bin/DatabaseInterface.sh --command create_table --databasepath '" +
                              folder.string() + "/' --database '" + file +
                              "' --table AIO_table --config "
                              "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg";
  if (std::system(command.c_str()) != 0) {
    Fail("the table script failed");
  }
  Database database(folder / file);
  database.Run("BEGIN");
  for (int number = 1; number <= kRing; ++number) {
    database.Run(InsertStatement(number));
  }
  database.Run("COMMIT");
}

double CpuSeconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The bare loop: what storing a record costs at least, statement by statement the daemon's own.
class BareLoop {
 public:
  BareLoop(std::string path, fs::path counter) : path_(std::move(path)), counter_(std::move(counter)) {}

  Figures Run(int records) {
    rusage before{};
    rusage after{};
    const std::uint64_t syncs = ReadCounter(counter_);
    ::getrusage(RUSAGE_SELF, &before);
    const Clock::time_point start = Clock::now();
    for (int record = 0; record < records; ++record) {
      StoreNext();
    }
    const double seconds = SecondsSince(start);
    ::getrusage(RUSAGE_SELF, &after);
    return {records / seconds, (CpuSeconds(after) - CpuSeconds(before)) * 1e6 / records,
            static_cast<double>(ReadCounter(counter_) - syncs) / records};
  }

 private:
  void StoreNext() {
    number_ = number_ == kRing ? 1 : number_ + 1;
    Database database(path_);
    database.Run("SELECT COUNT(*) FROM AIO_table");
    database.Run("BEGIN");
    database.Run("delete from AIO_table where RecordNumber = " + std::to_string(number_) + ";");
    database.Run(InsertStatement(number_));
    database.Run("COMMIT");
  }

  std::string path_;
  fs::path counter_;
  int number_ = kRing;
};

class DaemonUnderFlood {
 public:
  DaemonUnderFlood(const std::string& program, const std::string& preload, fs::path counter)
      : counter_(std::move(counter)), output_(kTraceFile) {
    process_ = StartDaemon(program, preload);
    peer_ = std::make_unique<Peer>();
  }

  Figures Run(int records) {
    const std::uint64_t syncs = ReadCounter(counter_);
    const double cpu = ProcessCpuSeconds(process_->Pid());
    const Clock::time_point start = Clock::now();
    for (int record = 0; record < records; ++record) {
      peer_->PublishLater("IOModule/AIO/Record", kPayload);
    }
    stored_ += static_cast<std::size_t>(records);
    output_.WaitFor(kStored, stored_);
    const double seconds = SecondsSince(start);
    return {records / seconds, (ProcessCpuSeconds(process_->Pid()) - cpu) * 1e6 / records,
            static_cast<double>(ReadCounter(counter_) - syncs) / records};
  }

  std::string Peak() const { return PeakMemory(process_->Pid()); }

 private:
  fs::path counter_;
  GrowingFile output_;
  std::unique_ptr<ChildProcess> process_;
  std::unique_ptr<Peer> peer_;
  std::size_t stored_ = 0;
};

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

Figures MedianOf(const std::vector<Figures>& rounds) {
  const auto median = [&rounds](double Figures::*member) {
    std::vector<double> values;
    for (const Figures& round : rounds) {
      values.push_back(round.*member);
    }
    return Median(values);
  };
  return {median(&Figures::perSecond), median(&Figures::cpuPerRecord), median(&Figures::syncsPerRecord)};
}

void ReplaceInFile(const fs::path& path, const std::string& before, const std::string& after) {
  std::ifstream in(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(in), {}};
  for (std::size_t at = content.find(before); at != std::string::npos;
       at = content.find(before, at + after.size())) {
    content.replace(at, before.size(), after);
  }
  std::ofstream(path, std::ios::binary) << content;
}

// All six kinds are enabled, as the memory goal asks; AIO's database lies on the real disk.
void InstallConfiguration(const fs::path& folder) {
  GatewayConfig config;
  config.RowLimit(AIO, kRing).LoopInterval(1000).Install();
  for (const char* name : {"AIOPerDatabaseColumnsConfig.cfg", "AIOPerDatabaseCtrlConfig.cfg"}) {
    ReplaceInFile(fs::path("/root/DataCollectorAppComponent/etc/Config") / name,
                  "/vorl/disk/AppData/K740/DataCollector/Db/", folder.string() + "/");
  }
  std::ofstream("/tmp/networkstatus") << "0\n";
}

void PrintRow(const char* name, const Figures& figures, const std::string& memory) {
  std::printf("%-10s %12.0f %16.0f %14.2f %14s\n", name, figures.perSecond, figures.cpuPerRecord,
              figures.syncsPerRecord, memory.c_str());
}

int RunBench(const std::string& daemonPath, const std::string& preload, int rounds, int records) {
  const char* keep = std::getenv("DATACOLLECTOR_KEEP");
  if (keep == nullptr || std::getenv("SYNC_COUNT_FILE") == nullptr) {
    Fail("DATACOLLECTOR_KEEP must name a folder on a real disk and SYNC_COUNT_FILE a file in it");
  }
  const fs::path folder(keep);
  // One counter for both: they take turns.
  const fs::path counter = std::getenv("SYNC_COUNT_FILE");
  InstallConfiguration(folder);
  MakeRing(folder, "AIODataCollectorDB.db");
  MakeRing(folder, "Bare.db");
  const auto broker = StartBroker();
  BareLoop bare((folder / "Bare.db").string(), counter);
  DaemonUnderFlood daemon(daemonPath, preload, counter);

  std::vector<Figures> bareRounds;
  std::vector<Figures> daemonRounds;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    bareRounds.push_back(bare.Run(records));
    daemonRounds.push_back(daemon.Run(records));
    ratios.push_back(daemonRounds.back().perSecond / bareRounds.back().perSecond);
  }
  std::printf("%d rounds of %d records into a full ring of %d rows, medians\n", rounds, records, kRing);
  std::printf("%-10s %12s %16s %14s %14s\n", "", "records/s", "CPU us/record", "syncs/record", "peak memory");
  PrintRow("bare loop", MedianOf(bareRounds), "-");
  PrintRow("daemon", MedianOf(daemonRounds), daemon.Peak());
  std::printf("daemon / bare loop: %.2f (median of the rounds)\n", Median(ratios));
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace datacollector::gateway

int main(int argc, char* argv[]) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: flood_bench DAEMON SYNC_COUNTER [ROUNDS [RECORDS]]\n");
    return 2;
  }
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
  const int records = argc > 4 ? std::atoi(argv[4]) : 1000;
  if (rounds < 1 || records < 1) {
    std::fprintf(stderr, "flood_bench: rounds and records must be above 0\n");
    return 2;
  }
  return datacollector::gateway::RunBench(argv[1], argv[2], rounds, records);
}
