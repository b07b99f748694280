#include "ReadOnlyDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace datacollector::ctl {
namespace {

constexpr int kPatience = 50;  // milliseconds

// A database is put back together from two files in memory; no larger one is.
constexpr std::int64_t kMaxSnapshot = std::int64_t{64} << 20U;

// Bytes 18 and 19 of the header tell how the file is written.
constexpr std::size_t kHeaderBytes = 100;
constexpr std::size_t kFormatPlace = 18;
constexpr char kWriteAheadLog = 2;

class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) {
      ::close(value_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor(Descriptor&&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  int Get() const { return value_; }

 private:
  int value_;
};

bool UsesLog(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::array<char, kHeaderBytes> header{};
  return ::read(file.Get(), header.data(), header.size()) == static_cast<ssize_t>(header.size()) &&
         header[kFormatPlace] == kWriteAheadLog;
}

bool CopyFile(const std::string& from, const std::string& to) {
  const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  std::array<char, 16384> block;
  for (;;) {
    const ssize_t bytes = ::read(source.Get(), block.data(), block.size());
    if (bytes <= 0) {
      return bytes == 0 && target.Get() >= 0;
    }
    if (::write(target.Get(), block.data(), static_cast<std::size_t>(bytes)) != bytes) {
      return false;
    }
  }
}

// A path as part of a URI.
std::string Escaped(const std::string& path) {
  std::string escaped;
  for (const char character : path) {
    if (std::strchr("%?#", character) != nullptr) {
      constexpr const char* kDigits = "0123456789ABCDEF";
      const auto value = static_cast<unsigned char>(character);
      escaped += {'%', kDigits[value >> 4U], kDigits[value & 15U]};
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string TextOf(sqlite3_stmt* statement, int column) {
  const unsigned char* text = sqlite3_column_text(statement, column);
  return text == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(text));
}

struct FinishStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinishStatement>;

Statement Prepare(sqlite3* handle, const std::string& query) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(handle, query.c_str(), -1, &statement, nullptr);
  return Statement(statement);
}

// A scan of an index is short, and one that only a limit ends is as long as that.
bool ReadsWholeTable(sqlite3* handle, const std::string& query) {
  if (query.find(" LIMIT ") != std::string::npos && query.find(" WHERE ") == std::string::npos) {
    return false;
  }
  const Statement plan = Prepare(handle, "EXPLAIN QUERY PLAN " + query);
  while (plan && sqlite3_step(plan.get()) == SQLITE_ROW) {
    const std::string step = TextOf(plan.get(), 3);
    if (step.starts_with("SCAN ") && step.find(" USING ") == std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::optional<std::int64_t> SizeOfFile(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return status.st_size;
}

void ReadOnlyDatabase::CloseHandle::operator()(sqlite3* handle) const { sqlite3_close(handle); }

ReadOnlyDatabase::~ReadOnlyDatabase() {
  handle_.reset();
  if (!snapshot_.empty()) {
    for (const char* file : {"/db", "/db-wal", "/db-shm", ""}) {
      ::remove((snapshot_ + file).c_str());
    }
  }
}

bool ReadOnlyDatabase::Fail(const std::string& problem) {
  problem_ = problem;
  return false;
}

// A log without its index belongs to nobody who runs: SQLite would have to make the index. It is made beside
// a copy.
bool ReadOnlyDatabase::MakeSnapshot(const std::string& path) {
  if (SizeOfFile(path).value_or(0) + SizeOfFile(path + "-wal").value_or(0) > kMaxSnapshot) {
    return Fail("too large to be read with its write-ahead log while the daemon doesn't run");
  }
  std::string folder = "/tmp/datacollectorctl.XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) {
    return Fail(std::string("no folder for a copy in /tmp: ") + std::strerror(errno));
  }
  snapshot_ = folder;
  return (CopyFile(path, snapshot_ + "/db") && CopyFile(path + "-wal", snapshot_ + "/db-wal")) ||
         Fail("can't be copied together with its write-ahead log");
}

// With a log that its index lies beside, the daemon has the file open, or died with it: the index is there
// and SQLite makes nothing. A file for a log that has none was closed in order: it is complete, and looked at
// as it is, because SQLite would make both.
bool ReadOnlyDatabase::Open(const std::string& path) {
  const std::optional<std::int64_t> size = SizeOfFile(path);
  if (!size) {
    return Fail(::access(path.c_str(), F_OK) == 0 ? "is no regular file" : "doesn't exist");
  }
  if (*size == 0) {
    return Fail("is empty");
  }
  const bool index = SizeOfFile(path + "-shm").has_value();
  std::string uri = "file:" + Escaped(path) + "?mode=ro";
  if (!index && SizeOfFile(path + "-wal").value_or(0) > 0) {
    if (!MakeSnapshot(path)) {
      return false;
    }
    uri = "file:" + snapshot_ + "/db";
  } else if (!index && UsesLog(path)) {
    uri += "&immutable=1";
  }
  sqlite3* handle = nullptr;
  const int flags = (snapshot_.empty() ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_URI;
  const int result = sqlite3_open_v2(uri.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    return Fail(sqlite3_errmsg(handle));
  }
  sqlite3_busy_timeout(handle, kPatience);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return Query("SELECT count(*) FROM sqlite_master", true).has_value();
}

std::optional<ReadOnlyDatabase::Rows> ReadOnlyDatabase::Query(const std::string& query, bool scan) {
  wouldScan_ = !scan && ReadsWholeTable(handle_.get(), query);
  if (wouldScan_) {
    problem_ = "the query would read the whole table";
    return std::nullopt;
  }
  const Statement statement = Prepare(handle_.get(), query);
  Rows rows;
  int result = statement ? SQLITE_ROW : SQLITE_ERROR;
  while (statement && (result = sqlite3_step(statement.get())) == SQLITE_ROW) {
    std::vector<std::string>& row = rows.emplace_back();
    for (int column = 0; column < sqlite3_column_count(statement.get()); ++column) {
      row.push_back(TextOf(statement.get(), column));
    }
  }
  if (result != SQLITE_DONE) {
    problem_ = sqlite3_errmsg(handle_.get());
    return std::nullopt;
  }
  return rows;
}

std::optional<std::int64_t> ReadOnlyDatabase::Number(const std::string& query, bool scan) {
  const std::optional<Rows> rows = Query(query, scan);
  if (!rows || rows->empty() || rows->front().empty() || rows->front().front().empty()) {
    return std::nullopt;
  }
  return std::strtoll(rows->front().front().c_str(), nullptr, 10);
}

}  // namespace datacollector::ctl
