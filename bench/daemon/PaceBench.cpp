// How fast waiting records are handed over, by the daemon at its described pace and with fast rounds and by a
// Python script, and what it costs; and how soon a single record is. All six kinds are enabled. Runs in the
// private root.
//
// Usage: pace_bench PAUSE RECORDS ROUNDS IDLE-SECONDS

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "daemon/Receiver.h"
#include "daemon/WatchedProcess.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/Kinds.h"

namespace datacollector::bench {
namespace {

namespace fs = std::filesystem;
using gateway::FactsOf;
using std::chrono::milliseconds;

constexpr const char* kDaemonFolder = "/vorl/disk/AppData/K740/DataCollector/Db";
constexpr const char* kScriptFolder = "/tmp/script";
constexpr int kLoopMilliseconds = 100;
constexpr int kDescribedRound = 1000 + kLoopMilliseconds;
constexpr milliseconds kAtOnce{0};
constexpr milliseconds kSlowly{50};

using Kinds = std::vector<SourceKind>;
const Kinds kEveryKind(kAllKinds.begin(), kAllKinds.end());

struct Figures {
  double perSecond;
  double cpu;     // ms by record
  double syncs;   // by record
  double memory;  // kB, the peak
};

void SetWan(bool up) { std::ofstream("/tmp/networkstatus") << (up ? "1\n" : "0\n"); }

std::vector<std::string> DatabasesIn(const std::string& folder) {
  std::vector<std::string> paths;
  for (const SourceKind kind : kAllKinds) {
    paths.push_back(folder + "/" + FactsOf(kind).databaseFile);
  }
  return paths;
}

// The daemon has made its tables when it starts; it is not ended in the middle of that.
void WaitForTables() {
  for (const std::string& path : DatabasesIn(kDaemonFolder)) {
    const Clock::time_point deadline = Clock::now() + std::chrono::minutes(1);
    while (!fs::exists(path) || fs::file_size(path) == 0) {
      if (Clock::now() > deadline) {
        Fail("no table in " + path);
      }
      std::this_thread::sleep_for(milliseconds(20));
    }
  }
}

// The daemon with a broker of its own.
class Site {
 public:
  // `pause`: of a forwarding round in milliseconds; 0: as described.
  explicit Site(int pause) {
    gateway::GatewayConfig config;
    config.LoopInterval(kLoopMilliseconds);
    for (const SourceKind kind : kAllKinds) {
      config.RowLimit(kind, 65535);
    }
    if (pause != 0) {
      config.Set(gateway::kGenericFile, "ForwardingRoundPauseInMilliSec", pause);
    }
    config.Install();
    fs::remove_all(fs::path(kDaemonFolder).parent_path());  // the daemon makes both levels
    SetWan(false);
    broker_ = std::make_unique<LoadedBroker>();
    daemon_ = StartDaemon();
    broker_->WaitForSubscriber(FactsOf(AIO).recordTopic);
    WaitForTables();
    source_ = std::make_unique<gateway::Peer>();
  }

  const WatchedProcess& Daemon() const { return *daemon_; }

  void Publish(SourceKind kind, int request) {
    source_->PublishLater(FactsOf(kind).recordTopic, gateway::PayloadOf(kind, request));
  }

  // Lets records wait, the WAN being down.
  void FillBacklog(const Kinds& kinds, int records) {
    const FileTime start = std::chrono::system_clock::now();
    for (int record = 1; record <= records; ++record) {
      for (const SourceKind kind : kinds) {
        Publish(kind, record);
      }
    }
    WhenQuiet(DatabasesIn(kDaemonFolder), start);
  }

 private:
  std::unique_ptr<LoadedBroker> broker_;
  std::unique_ptr<WatchedProcess> daemon_;
  std::unique_ptr<gateway::Peer> source_;
};

// From the first packet to the last one.
Figures WatchDrain(const WatchedProcess& process, Receiver& receiver, std::size_t records) {
  receiver.WaitFor(1);
  const Usage before = process.Used();
  receiver.WaitFor(records);
  const Usage used = process.Used() - before;
  const auto arrivals = receiver.Arrivals();
  const double seconds = std::chrono::duration<double>(arrivals.back().time - arrivals.front().time).count();
  const auto count = static_cast<double>(records - 1);
  return {count / seconds, used.cpuSeconds * 1000 / count, static_cast<double>(used.writes.syncs) / count,
          static_cast<double>(process.PeakMemory())};
}

Figures DrainByDaemon(Site& site, milliseconds answerTime, std::size_t records) {
  Receiver receiver("HTTPSend", answerTime);
  const FileTime start = std::chrono::system_clock::now();
  SetWan(true);
  const Figures figures = WatchDrain(site.Daemon(), receiver, records);
  std::this_thread::sleep_for(answerTime);
  WhenQuiet(DatabasesIn(kDaemonFolder), start);  // the last confirmation is in its row
  SetWan(false);
  return figures;
}

Figures DrainByScript(milliseconds answerTime, std::size_t records) {
  Receiver receiver("Peer", answerTime);
  const auto script = StartScript("forward.py", {kScriptFolder, "Peer"});
  const Figures figures = WatchDrain(*script, receiver, records);
  script->End();
  return figures;
}

// The same rows for the script. Nobody writes while the files are copied.
void CopyBacklog() {
  fs::remove_all(kScriptFolder);
  fs::create_directories(kScriptFolder);
  for (const std::string& path : DatabasesIn(kDaemonFolder)) {
    for (const std::string& file : {path, path + "-wal"}) {
      if (fs::exists(file)) {
        fs::copy_file(file, kScriptFolder / fs::path(file).filename());
      }
    }
  }
}

void PrintRow(const char* name, const std::vector<Figures>& rounds) {
  const auto median = [&rounds](double Figures::*figure) {
    std::vector<double> values;
    for (const Figures& round : rounds) {
      values.push_back(round.*figure);
    }
    return Median(values);
  };
  std::printf("  %-14s %10.1f records/s %8.3f ms CPU/record %6.2f syncs/record %8.0f kB\n", name,
              median(&Figures::perSecond), median(&Figures::cpu), median(&Figures::syncs),
              median(&Figures::memory));
  std::fflush(stdout);
}

// The daemon and the script drain the same rows in turns.
void CompareDrains(int pause, const Kinds& kinds, milliseconds answerTime, int recordsOfKind, int rounds) {
  const std::size_t records = kinds.size() * static_cast<std::size_t>(recordsOfKind);
  std::printf("%zu kind(s), %d waiting records each, confirmed after %d ms:\n", kinds.size(), recordsOfKind,
              static_cast<int>(answerTime.count()));
  Site site(pause);
  std::vector<Figures> daemon;
  std::vector<Figures> script;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    site.FillBacklog(kinds, recordsOfKind);
    CopyBacklog();
    daemon.push_back(DrainByDaemon(site, answerTime, records));
    script.push_back(DrainByScript(answerTime, records));
    ratios.push_back(daemon.back().perSecond / script.back().perSecond);
  }
  PrintRow("daemon", daemon);
  PrintRow("Python script", script);
  std::printf("  %-14s %10.2f (median of %d rounds)\n", "ratio", Median(ratios), rounds);
}

// From the publication of a record to the arrival of its packet: it is stored in between.
void MeasureLatency(int pause, milliseconds answerTime) {
  constexpr int kRecords = 300;
  constexpr milliseconds kApart{50};
  Site site(pause);
  SetWan(true);
  Receiver receiver("HTTPSend", answerTime);
  std::vector<double> latencies;
  for (int record = 0; record <= kRecords; ++record) {
    const SourceKind kind = kEveryKind[static_cast<std::size_t>(record) % kEveryKind.size()];
    const Clock::time_point start = Clock::now();
    site.Publish(kind, record + 1);
    receiver.WaitFor(static_cast<std::size_t>(record) + 1);
    latencies.push_back(
        std::chrono::duration<double, std::milli>(receiver.Arrivals().back().time - start).count());
    std::this_thread::sleep_for(answerTime + kApart);
  }
  latencies.erase(latencies.begin());  // the first one waits for the end of the start
  std::ranges::sort(latencies);
  std::printf(
      "one record at a time, confirmed after %d ms, published to handed over: p50 %.1f ms, p99 %.1f ms, "
      "max %.1f ms\n",
      static_cast<int>(answerTime.count()), latencies[kRecords / 2], latencies[kRecords * 99 / 100],
      latencies.back());
}

void MeasureIdle(const WatchedProcess& daemon, int seconds) {
  const double before = daemon.Used().cpuSeconds;
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  std::printf("idle for %d s: %.2f %% of a core, peak memory %d kB\n", seconds,
              (daemon.Used().cpuSeconds - before) * 100 / seconds, daemon.PeakMemory());
}

void RunDescribed(int idleSeconds) {
  constexpr int kRecords = 30;
  std::printf("the described pace, one AIO record per %d ms:\n", kDescribedRound);
  Site site(0);
  MeasureIdle(site.Daemon(), idleSeconds);
  site.FillBacklog({AIO}, kRecords);
  PrintRow("daemon", {DrainByDaemon(site, kAtOnce, kRecords)});
}

void RunFast(int pause, int records, int rounds, int idleSeconds) {
  std::printf("rounds of %d ms:\n", pause);
  MeasureIdle(Site(pause).Daemon(), idleSeconds);
  MeasureLatency(pause, kAtOnce);
  MeasureLatency(pause, kSlowly);
  CompareDrains(pause, kEveryKind, kAtOnce, records, rounds);
  CompareDrains(pause, {AIO}, kAtOnce, records, rounds);
  CompareDrains(pause, kEveryKind, kSlowly, records / 10, 1);
  CompareDrains(pause, {AIO}, kSlowly, records / 10, 1);
}

}  // namespace
}  // namespace datacollector::bench

int main(int argc, char* argv[]) {
  namespace bench = datacollector::bench;
  const auto number = [&](int place) { return argc > place ? std::atoi(argv[place]) : 0; };
  if (number(1) < 10 || number(2) < 20 || number(3) < 1 || number(4) < 1) {
    std::fprintf(stderr, "usage: pace_bench PAUSE RECORDS ROUNDS IDLE-SECONDS\n");
    return 2;
  }
  bench::RunDescribed(number(4));
  bench::RunFast(number(1), number(2), number(3), number(4));
  return EXIT_SUCCESS;
}
