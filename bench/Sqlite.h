// A connection of the benchmarks' own, beside the store that they measure. A failure ends the benchmark.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>

namespace datacollector::bench {

// Prints the reason on standard error and ends the process.
[[noreturn]] void Fail(const std::string& reason);

class Connection {
 public:
  explicit Connection(const std::string& path);

  void Run(const std::string& statements) const;

  // The first value of the first row; 0 where there is none.
  std::int64_t Number(const std::string& query) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
  };
  std::unique_ptr<sqlite3, Close> handle_;
};

}  // namespace datacollector::bench
