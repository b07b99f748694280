// Looking into a database without leaving a mark: nothing is created beside it, no lock is held longer than
// one query, and whoever writes is never kept waiting.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace datacollector::ctl {

class ReadOnlyDatabase {
 public:
  ReadOnlyDatabase() = default;
  ~ReadOnlyDatabase();
  ReadOnlyDatabase(const ReadOnlyDatabase&) = delete;
  ReadOnlyDatabase(ReadOnlyDatabase&&) = delete;
  ReadOnlyDatabase& operator=(const ReadOnlyDatabase&) = delete;
  ReadOnlyDatabase& operator=(ReadOnlyDatabase&&) = delete;

  // False when the file is no regular one or can't be opened; Problem says why.
  bool Open(const std::string& path);

  // The rows of a query as texts; nothing when it failed. A query that would read the whole table fails,
  // unless `scan` allows it.
  using Rows = std::vector<std::vector<std::string>>;
  std::optional<Rows> Query(const std::string& query, bool scan = false);

  // The one number that a query gives; nothing when it failed or gave none.
  std::optional<std::int64_t> Number(const std::string& query, bool scan = false);

  const std::string& Problem() const { return problem_; }

  // Whether the last failure was a query that is not made because it would read the whole table.
  bool WouldScan() const { return wouldScan_; }

 private:
  bool MakeSnapshot(const std::string& path);
  bool Fail(const std::string& problem);

  struct CloseHandle {
    void operator()(sqlite3* handle) const;
  };
  std::unique_ptr<sqlite3, CloseHandle> handle_;
  std::string snapshot_;  // folder of the copy that is read in place of the file; empty: none
  std::string problem_;
  bool wouldScan_ = false;
};

// The size of a regular file; nothing when there is none.
std::optional<std::int64_t> SizeOfFile(const std::string& path);

}  // namespace datacollector::ctl
