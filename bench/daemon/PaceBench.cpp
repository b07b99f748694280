// The daemon at rest and behind an outage, with all six kinds enabled and a main loop of 100 ms: what share
// of a core it takes while nothing happens, and how fast a backlog of AIO records drains into a receiver that
// confirms at once.
//
// Usage: pace_bench DAEMON [IDLE-SECONDS [RECORDS]]

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "daemon/WatchedDaemon.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/HttpSendApp.h"
#include "gateway/harness/Peer.h"

namespace datacollector::gateway {
namespace {

constexpr int kLoopMilliseconds = 100;
constexpr int kRoundMilliseconds = 1000 + kLoopMilliseconds;  // of the forwarding thread

void SetWan(bool up) { std::ofstream("/tmp/networkstatus") << (up ? "1\n" : "0\n"); }

// As a share of one core.
double IdleShare(pid_t daemon, int seconds) {
  const double before = ProcessCpuSeconds(daemon);
  const Clock::time_point start = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  return (ProcessCpuSeconds(daemon) - before) / SecondsSince(start);
}

// Records per second, from the first packet to the last one.
double DrainRate(Peer& source, HttpSendApp& receiver, int records) {
  GrowingFile trace(kTraceFile);
  for (int record = 0; record < records; ++record) {
    source.PublishLater("IOModule/AIO/Record", PayloadOf(AIO, record));
  }
  trace.WaitFor("AIO DataBase written Successfully", static_cast<std::size_t>(records));
  SetWan(true);
  const auto patience = std::chrono::milliseconds(records * kRoundMilliseconds * 2);
  if (!receiver.WaitForPackets(AIO, 1, patience)) {
    Fail("no packet came");
  }
  const Clock::time_point start = Clock::now();
  if (!receiver.WaitForPackets(AIO, static_cast<std::size_t>(records), patience)) {
    Fail("the backlog does not drain");
  }
  return (records - 1) / SecondsSince(start);
}

int RunBench(const std::string& program, int idleSeconds, int records) {
  GatewayConfig config;
  config.LoopInterval(kLoopMilliseconds).Install();
  SetWan(false);
  const auto broker = StartBroker();
  const auto daemon = StartDaemon(program, "");
  std::printf("idle for %d s: %.2f %% of a core\n", idleSeconds, IdleShare(daemon->Pid(), idleSeconds) * 100);
  Peer source;
  HttpSendApp receiver;
  const double rate = DrainRate(source, receiver, records);
  std::printf("backlog of %d AIO records: %.3f records/s, %.3f of one per %d ms\n", records, rate,
              rate * kRoundMilliseconds / 1000, kRoundMilliseconds);
  std::printf("peak memory: %s\n", PeakMemory(daemon->Pid()).c_str());
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace datacollector::gateway

int main(int argc, char* argv[]) {
  const int idleSeconds = argc > 2 ? std::atoi(argv[2]) : 60;
  const int records = argc > 3 ? std::atoi(argv[3]) : 60;
  if (argc < 2 || idleSeconds < 1 || records < 2) {
    std::fprintf(stderr,
                 "usage: pace_bench DAEMON [IDLE-SECONDS [RECORDS]]; at least 1 second and 2 records\n");
    return 2;
  }
  return datacollector::gateway::RunBench(argv[1], idleSeconds, records);
}
