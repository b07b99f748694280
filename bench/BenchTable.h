// A full table of one kind, made by the gateway's table script from the example configuration.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "ground/MainState.h"

namespace datacollector::bench {

// How a table differs from the one that the script makes.
struct Layout {
  int pageSize = 0;  // bytes; 0: as made
  bool indexes = true;
};

class BenchTable {
 public:
  // Of `rows` rows, which is also the row limit; every row is sent. Ends the process when it can't be made.
  BenchTable(SourceKind kind, std::size_t rows, Layout layout);
  ~BenchTable();
  BenchTable(const BenchTable&) = delete;
  BenchTable(BenchTable&&) = delete;
  BenchTable& operator=(const BenchTable&) = delete;
  BenchTable& operator=(BenchTable&&) = delete;

  DataCollectorMainStructure& Main() { return *main_; }
  std::string Path() const { return folder_ / "Bench.db"; }

 private:
  void ReadExampleConfiguration();
  void CreateTable() const;
  void Fill();
  void ApplyLayout(Layout layout) const;
  void Execute(const std::string& statement) const;

  const SourceKind kind_;
  const std::size_t rows_;
  std::filesystem::path folder_;
  std::unique_ptr<DataCollectorMainStructure> main_;
};

}  // namespace datacollector::bench
