// Time, syncs and bytes written per record of the store's three operations, on tables of three sizes.
//
// The databases are made in the folder named by STORE_BENCH_FOLDER, or in the working directory: what a sync
// costs is a property of the disk. Results go to standard error, because standard output carries the trace.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "BenchTable.h"
#include "WriteCounter.h"
#include "app/ground/Trace.h"
#include "store/ReadRecords.h"
#include "store/UpdateRecord.h"
#include "store/WriteRecord.h"

namespace datacollector::bench {
namespace {

// Nothing is handed over: the tables hold sent records only.
class NoHandOver : public RecordHandOver {
 public:
  void Announce(std::int32_t /*recordNumber*/) override {}
  bool Publish(const char* /*topic*/, const char* /*packet*/) override { return true; }
  void Withdraw() override {}
};

SourceKind KindOf(const benchmark::State& state) { return static_cast<SourceKind>(state.range(0)); }

BenchTable TableFor(const benchmark::State& state) {
  return {KindOf(state), static_cast<std::size_t>(state.range(1)),
          Layout{.pageSize = static_cast<int>(state.range(2)), .indexes = state.range(3) != 0}};
}

// Runs an operation that returns false when it failed, and reports what it writes.
template <typename Operation>
void Measure(benchmark::State& state, Operation operation) {
  const Writes before = WritesSoFar();
  for ([[maybe_unused]] auto iteration : state) {
    if (!operation()) {
      state.SkipWithError("the operation failed");
      break;
    }
    FlushTrace();
  }
  const Writes after = WritesSoFar();
  state.counters["syncs"] =
      benchmark::Counter(static_cast<double>(after.syncs - before.syncs), benchmark::Counter::kAvgIterations);
  state.counters["bytes"] =
      benchmark::Counter(static_cast<double>(after.bytes - before.bytes), benchmark::Counter::kAvgIterations);
}

void InsertIntoFullRing(benchmark::State& state) {
  BenchTable table = TableFor(state);
  DataCollectorMainStructure& main = table.Main();
  const bool meter = IsMeterKind(KindOf(state));
  Measure(state, [&] {
    return (meter ? WriteRS485DCDBRecords(main, RS485Line1, 0, 7) : WriteAIDCDBRecords(main, 7)) == 0;
  });
}

// A record and its confirmation, as they alternate on a gateway.
void InsertAndConfirm(benchmark::State& state) {
  BenchTable table = TableFor(state);
  DataCollectorMainStructure& main = table.Main();
  const SourceKind kind = KindOf(state);
  const bool meter = IsMeterKind(kind);
  DatabaseUpdate& update = main.DataCollectorDBUpdate[kind];
  update.i32_TxStatus = 1;
  update.i8_TxTimeStamp.Assign("2026-11-20 10:00:05");
  Measure(state, [&] {
    const int written = meter ? WriteRS485DCDBRecords(main, RS485Line1, 0, 7) : WriteAIDCDBRecords(main, 7);
    update.i32_RecordNum = main.DataCollectorDBData.ui16_DBRecordNumber[kind];
    update.i8_RecordReadTimeStamp = main.DataCollectorDBData.i8_ReadTimeStamp[kind];
    return written == 0 && (meter ? UpdateRS485DBRecord(main) : UpdateAIDBRecord(main)) == 0;
  });
}

void UnsentReadAllSent(benchmark::State& state) {
  BenchTable table = TableFor(state);
  const bool meter = IsMeterKind(KindOf(state));
  NoHandOver handOver;
  Measure(state, [&] {
    return (meter ? ReadRS485DCDBRecordAndPublish(table.Main(), handOver)
                  : ReadAIDCDBRecordAndPublish(table.Main(), handOver)) == 0;
  });
}

// Walks through the table; every update changes the status of its row.
void StatusUpdate(benchmark::State& state) {
  BenchTable table = TableFor(state);
  DataCollectorMainStructure& main = table.Main();
  const SourceKind kind = KindOf(state);
  const auto rows = static_cast<std::int32_t>(state.range(1));
  DatabaseUpdate& update = main.DataCollectorDBUpdate[kind];
  update.i8_RecordReadTimeStamp = main.DataCollectorDBData.i8_ReadTimeStamp[kind];
  update.i8_TxTimeStamp.Assign("2026-11-20 10:00:05");
  update.i32_TxStatus = 2;
  Measure(state, [&] {
    if (++update.i32_RecordNum > rows) {
      update.i32_RecordNum = 1;
      update.i32_TxStatus = update.i32_TxStatus == 2 ? 1 : 2;
    }
    return (IsMeterKind(kind) ? UpdateRS485DBRecord(main) : UpdateAIDBRecord(main)) == 0;
  });
}

constexpr std::int64_t kAsMade = 0;
constexpr std::int64_t kIndexed = 1;
constexpr std::int64_t kPlain = 0;

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "rows", "page", "indexes"})->Unit(benchmark::kMicrosecond);
  for (const SourceKind kind : {AIO, RS485}) {
    for (const std::int64_t rows : {100, 5000, 65535}) {
      benchmark->Args({static_cast<std::int64_t>(kind), rows, kAsMade, kIndexed});
    }
  }
}

// What other tables than the script's would cost.
void Alternatives(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t rows : {100, 65535}) {
    for (const std::int64_t page : {512, 1024, 4096}) {
      benchmark->Args({std::int64_t{AIO}, rows, page, kIndexed});
    }
    benchmark->Args({std::int64_t{AIO}, rows, kAsMade, kPlain});
  }
}

BENCHMARK(InsertIntoFullRing)->Apply(Sizes)->Apply(Alternatives);
BENCHMARK(InsertAndConfirm)->Apply(Sizes);
BENCHMARK(UnsentReadAllSent)->Apply(Sizes)->Apply(Alternatives);
BENCHMARK(StatusUpdate)->Apply(Sizes)->Apply(Alternatives);

}  // namespace
}  // namespace datacollector::bench

int main(int argc, char** argv) {
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0 || ::dup2(nowhere, STDOUT_FILENO) < 0) {
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
  reporter.SetOutputStream(&std::cerr);
  reporter.SetErrorStream(&std::cerr);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
