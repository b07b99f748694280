// Time, syncs and bytes written per record of the store's operations and of a record's whole life, on tables
// of three sizes; beside them the same SQL in a bare loop.
//
// The databases are made in the folder named by STORE_BENCH_FOLDER, or in the working directory: what a sync
// costs is a property of the disk. Results go to what was standard output; the store's trace goes nowhere.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "BareLoop.h"
#include "BenchTable.h"
#include "WriteCounter.h"
#include "ground/Trace.h"
#include "store/DatabaseWriteProtocol.h"
#include "store/ReadRecords.h"
#include "store/RecordData.h"
#include "store/StoreAccess.h"
#include "store/UpdateRecord.h"
#include "store/WriteRecord.h"

namespace datacollector::bench {
namespace {

// Takes what is handed over, as far as its confirmation needs it.
class TakenRecord : public RecordHandOver {
 public:
  void Announce(std::int32_t recordNumber) override { number = recordNumber; }
  bool Publish(const char* /*topic*/, const char* packet) override {
    constexpr std::size_t kReadTimePlace = 2;
    std::string_view rest = packet;
    for (std::size_t place = 0; place < kReadTimePlace; ++place) {
      rest.remove_prefix(rest.find(',') + 1);
    }
    readTime.Assign(rest.substr(0, rest.find(',')));
    return true;
  }
  void Withdraw() override {}
  void Recall() override {}

  std::int32_t number = 0;
  TimeStampText readTime{};
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

bool Insert(DataCollectorMainStructure& main, SourceKind kind) {
  return (IsMeterKind(kind) ? WriteRS485DCDBRecords(main, RS485Line1, 0, 7) : WriteAIDCDBRecords(main, 7)) ==
         0;
}

std::int32_t HandOverUnsent(DataCollectorMainStructure& main, SourceKind kind, RecordHandOver& handOver) {
  return IsMeterKind(kind) ? ReadRS485DCDBRecordAndPublish(main, handOver)
                           : ReadAIDCDBRecordAndPublish(main, handOver);
}

bool Update(DataCollectorMainStructure& main, SourceKind kind) {
  return (IsMeterKind(kind) ? UpdateRS485DBRecord(main) : UpdateAIDBRecord(main)) == 0;
}

void InsertIntoFullRing(benchmark::State& state) {
  BenchTable table = TableFor(state);
  Measure(state, [&] { return Insert(table.Main(), KindOf(state)); });
}

// A record is stored, handed over and confirmed, as on a gateway that keeps up.
void LifeOfRecord(benchmark::State& state) {
  BenchTable table = TableFor(state);
  DataCollectorMainStructure& main = table.Main();
  const SourceKind kind = KindOf(state);
  DatabaseUpdate& update = main.DataCollectorDBUpdate[kind];
  update.i32_TxStatus = 1;
  update.i8_TxTimeStamp.Assign("2026-11-20 10:00:05");
  TakenRecord taken;
  Measure(state, [&] {
    if (!Insert(main, kind) || HandOverUnsent(main, kind, taken) <= 0) {
      return false;
    }
    update.i32_RecordNum = taken.number;
    update.i8_RecordReadTimeStamp = taken.readTime;
    return Update(main, kind);
  });
}

void UnsentReadAllSent(benchmark::State& state) {
  BenchTable table = TableFor(state);
  TakenRecord taken;
  Measure(state, [&] { return HandOverUnsent(table.Main(), KindOf(state), taken) == 0; });
}

// What an insert takes before it comes to the database.
void Packing(benchmark::State& state) {
  BenchTable table = TableFor(state);
  Measure(state, [&] {
    ColumnListText columns{};
    PackAIDBColumnNames(table.Main(), columns);
    RecordText record{};
    PackAIDBWriteRecord(table.Main(), record, {.requestId = 7});
    return CountLiterals(record.view()).has_value();
  });
}

BareLoop LoopFor(const benchmark::State& state, const BenchTable& table) {
  ResetStore();  // nobody else has the database open
  return {state.range(4) != 0 ? BareLoop::Way::KeptOpen : BareLoop::Way::OpenedEachTime, table.Path(),
          static_cast<int>(state.range(1))};
}

void BareInsert(benchmark::State& state) {
  const BenchTable table = TableFor(state);
  BareLoop loop = LoopFor(state, table);
  Measure(state, [&] {
    loop.Insert();
    return true;
  });
}

void BareLife(benchmark::State& state) {
  const BenchTable table = TableFor(state);
  BareLoop loop = LoopFor(state, table);
  Measure(state, [&] {
    loop.Insert();
    loop.ReadUnsent();
    loop.Confirm();
    return true;
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
    return Update(main, kind);
  });
}

constexpr std::int64_t kAsMade = 0;
constexpr std::int64_t kIndexed = 1;
constexpr std::int64_t kPlain = 0;

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "rows", "page", "indexes"})->Unit(benchmark::kMicrosecond);
  for (const SourceKind kind : {AIO, RS485}) {
    for (const std::int64_t rows : {100, 1000, 65535}) {
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

void OneTable(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "rows", "page", "indexes"})->Unit(benchmark::kMicrosecond);
  benchmark->Args({std::int64_t{AIO}, 100, kAsMade, kIndexed});
}

// A connection for each operation, or one that is kept.
void Ways(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "rows", "page", "indexes", "kept"})->Unit(benchmark::kMicrosecond);
  for (const std::int64_t kept : {0, 1}) {
    for (const std::int64_t rows : {100, 1000, 65535}) {
      benchmark->Args({std::int64_t{AIO}, rows, kAsMade, kIndexed, kept});
    }
  }
}

BENCHMARK(InsertIntoFullRing)->Apply(Sizes)->Apply(Alternatives);
BENCHMARK(LifeOfRecord)->Apply(Sizes);
BENCHMARK(UnsentReadAllSent)->Apply(Sizes)->Apply(Alternatives);
BENCHMARK(StatusUpdate)->Apply(Sizes)->Apply(Alternatives);
BENCHMARK(Packing)->Apply(OneTable);
BENCHMARK(BareInsert)->Apply(Ways);
BENCHMARK(BareLife)->Apply(Ways);

}  // namespace
}  // namespace datacollector::bench

int main(int argc, char** argv) {
  const int results = ::dup(STDOUT_FILENO);
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (results < 0 || nowhere < 0 || ::dup2(nowhere, STDOUT_FILENO) < 0) {
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  std::ofstream out("/dev/fd/" + std::to_string(results));
  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
  reporter.SetOutputStream(&out);
  reporter.SetErrorStream(&std::cerr);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
