// Floods the daemon with AIO records over a real broker into a full ring, in turns with bare loops of the
// same SQL and, if wanted, a Python script on the same broker. Runs in the private root.
//
// Usage: flood_bench FOLDER ROUNDS RECORDS [--script]

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/Rivals.h"

namespace datacollector::bench {
namespace {

constexpr int kRing = 1000;
constexpr int kWarmUp = 200;  // records: the last number is recovered, the log is there

// Of one round, by record.
struct Figures {
  double perSecond;
  double cpu;  // ms
  double syncs;
  double bytes;
};

struct Contestant {
  std::unique_ptr<Rival> rival;
  std::vector<Figures> rounds;

  double MedianOf(double Figures::*figure) const {
    std::vector<double> values;
    for (const Figures& round : rounds) {
      values.push_back(round.*figure);
    }
    return Median(values);
  }
};

Figures RunRound(Rival& rival, int records) {
  const Usage before = rival.Used();
  const double seconds = rival.Store(records);
  const Usage used = rival.Used() - before;
  return {records / seconds, used.cpuSeconds * 1000 / records,
          static_cast<double>(used.writes.syncs) / records, static_cast<double>(used.writes.bytes) / records};
}

void PrintTable(const std::vector<Contestant>& contestants) {
  std::printf("%-28s %10s %14s %13s %13s %12s\n", "", "records/s", "CPU ms/record", "syncs/record",
              "bytes/record", "peak memory");
  for (const Contestant& contestant : contestants) {
    const int memory = contestant.rival->PeakMemory();
    std::printf("%-28s %10.0f %14.3f %13.2f %13.0f %12s\n", contestant.rival->Name(),
                contestant.MedianOf(&Figures::perSecond), contestant.MedianOf(&Figures::cpu),
                contestant.MedianOf(&Figures::syncs), contestant.MedianOf(&Figures::bytes),
                memory == 0 ? "-" : (std::to_string(memory) + " kB").c_str());
  }
}

// Rivals that took their turns in the same round have met the same load of the machine.
double RatioOfRounds(const Contestant& contestant, const Contestant& other) {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < contestant.rounds.size(); ++round) {
    ratios.push_back(contestant.rounds[round].perSecond / other.rounds[round].perSecond);
  }
  return Median(ratios);
}

void PrintRatios(const std::vector<Contestant>& contestants) {
  constexpr std::size_t kDaemon = 2;
  const Contestant& daemon = contestants[kDaemon];
  std::printf("records/s of the daemon, median of the rounds' ratios:\n");
  for (const Contestant& other : contestants) {
    if (&other != &daemon) {
      std::printf("  %5.2f of the %s\n", RatioOfRounds(daemon, other), other.rival->Name());
    }
  }
  if (contestants.size() > kDaemon + 1) {
    std::printf("peak memory of the daemon:\n  %5.2f of the Python script\n",
                static_cast<double>(daemon.rival->PeakMemory()) / contestants.back().rival->PeakMemory());
  }
}

int RunBench(const std::string& folder, int rounds, int records, bool withScript) {
  const LoadedBroker broker;
  std::vector<Contestant> contestants;
  for (auto& rival : MakeRivals(folder, kRing, broker, withScript)) {
    rival->Store(kWarmUp);
    contestants.push_back({std::move(rival), {}});
  }
  for (int round = 0; round < rounds; ++round) {
    for (Contestant& contestant : contestants) {
      contestant.rounds.push_back(RunRound(*contestant.rival, records));
    }
  }
  std::printf("%d rounds of %d AIO records into a full ring of %d rows, medians\n", rounds, records, kRing);
  PrintTable(contestants);
  PrintRatios(contestants);
  for (Contestant& contestant : contestants) {
    contestant.rival->Check();
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace datacollector::bench

int main(int argc, char* argv[]) {
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 0;
  const int records = argc > 3 ? std::atoi(argv[3]) : 0;
  const bool withScript = argc > 4 && std::string_view(argv[4]) == "--script";
  if (rounds < 1 || records < 1000 || argc != (withScript ? 5 : 4)) {
    std::fprintf(stderr, "usage: flood_bench FOLDER ROUNDS RECORDS [--script]; at least 1000 records\n");
    return 2;
  }
  return datacollector::bench::RunBench(argv[1], rounds, records, withScript);
}
