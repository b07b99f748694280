// Databases against the configuration.

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

#include "Checks.h"
#include "Figures.h"
#include "ReadOnlyDatabase.h"

namespace datacollector::ctl {
namespace {

constexpr std::int64_t kQuickToCheck = std::int64_t{4} << 20U;  // bytes that are checked without being asked
constexpr std::int64_t kTypicalRow = 512;                       // bytes of a row and its index entries
constexpr std::int64_t kLeastFree = std::int64_t{64} * 1024;

// One kind's table under check.
struct TableCheck {
  const CheckInput& input;
  SourceKind kind;
  std::string path;
  ReadOnlyDatabase& database;
  Findings& findings;

  const DatabaseConfig& Config() const { return input.tree.main->DataCollectorDBConfig[kind]; }
  const DatabaseParams& Params() const { return input.tree.main->DataCollectorDBParams[kind]; }
  std::string Table() const { return Config().i8_TableName.c_str(); }
};

bool SameName(const std::string& one, const std::string& other) {
  return one.size() == other.size() && std::ranges::equal(one, other, [](unsigned char a, unsigned char b) {
           return std::tolower(a) == std::tolower(b);
         });
}

// A name as an SQL text.
std::string Quoted(const std::string& name) {
  std::string quoted = "'";
  for (const char character : name) {
    quoted += character == '\'' ? "''" : std::string(1, character);
  }
  return quoted + "'";
}

// False when the table is not as configured, so that nothing further can be asked of it.
bool CheckShape(const TableCheck& check) {
  const auto columns =
      check.database.Query("SELECT name FROM pragma_table_info(" + Quoted(check.Table()) + ")", true);
  if (!columns) {
    check.findings.Add(Code::DatabaseDamaged, check.path, check.database.Problem());
    return false;
  }
  if (columns->empty()) {
    check.findings.Add(Code::TableMissing, check.path, "has no table " + check.Table());
    return false;
  }
  bool same = columns->size() == check.Config().ui16_NoOfColumns;
  for (std::size_t index = 0; same && index < columns->size(); ++index) {
    same = SameName((*columns)[index].front(), check.Config().i8_ColumnNames[index].c_str());
    if (!same) {
      check.findings.Add(Code::TableDiffers, check.path,
                         "column " + std::to_string(index + 1) + " is '" + (*columns)[index].front() +
                             "', in the column file '" + check.Config().i8_ColumnNames[index].c_str() + "'");
      return false;
    }
  }
  if (!same) {
    check.findings.Add(Code::TableDiffers, check.path,
                       "has " + std::to_string(columns->size()) + " columns, the column file " +
                           std::to_string(check.Config().ui16_NoOfColumns));
  }
  return same;
}

void CheckIndexes(const TableCheck& check) {
  const auto indexed = check.database.Query("SELECT x.name FROM pragma_index_list(" + Quoted(check.Table()) +
                                                ") AS l, pragma_index_info(l.name) AS x WHERE x.seqno = 0",
                                            true);
  for (const char* column :
       {check.Params().i8_TxStatusColumn.c_str(), check.Config().i8_RecordNumber.c_str()}) {
    if (indexed &&
        std::ranges::none_of(*indexed, [&](const auto& row) { return SameName(row.front(), column); })) {
      check.findings.Add(Code::IndexMissing, check.path, std::string("no index on ") + column);
    }
  }
}

// A ring that has wrapped is full and its oldest number follows its newest one.
void CheckRing(const TableCheck& check) {
  const std::string from =
      "SELECT " + std::string(check.Config().i8_RecordNumber.c_str()) + " FROM " + check.Table();
  const std::int64_t limit = check.Config().ui16_MAXRecords;
  const Number rows = check.database.Number("SELECT count(*) FROM " + check.Table(), true);
  const Number newest = check.database.Number(from + " ORDER BY rowid DESC LIMIT 1");
  const Number oldest = check.database.Number(from + " ORDER BY rowid LIMIT 1");
  if (!rows || !newest || !oldest) {
    return;
  }
  if (*rows > limit) {
    check.findings.Add(Code::LimitLowered, check.path,
                       std::to_string(*rows) + " rows with a limit of " + std::to_string(limit));
  } else if (*oldest > *newest && *rows < limit) {
    check.findings.Add(Code::LimitRaised, check.path,
                       "wrapped at " + std::to_string(*rows) + " rows, the limit is " +
                           std::to_string(limit) + " now: numbers will stand twice");
  }
}

// SQLite's report without its line ends, as much of it as a line holds.
std::string OneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text.substr(0, 120);
}

void CheckPages(const TableCheck& check) {
  if (!check.input.deep && SizeOfFile(check.path).value_or(0) > kQuickToCheck) {
    return;
  }
  const auto result = check.database.Query("PRAGMA quick_check(1)", true);
  const std::string answer = !result           ? check.database.Problem()
                             : result->empty() ? "ok"
                                               : result->front().front();
  if (answer != "ok") {
    check.findings.Add(Code::DatabaseDamaged, check.path, OneLine(answer));
  }
}

void CheckTable(const CheckInput& input, SourceKind kind, Findings& findings) {
  const std::string name = input.tree.main->DataCollectorDBConfig[kind].i8_DatabaseName.c_str();
  const std::string path = input.tree.Path(name);
  struct stat status {};
  if (name.empty() || ::lstat(path.c_str(), &status) != 0) {
    return;  // the daemon makes it
  }
  if (SizeOfFile(path) == 0) {
    findings.Add(Code::DatabaseEmpty, path, "has no bytes");
    return;
  }
  ReadOnlyDatabase database;
  if (!database.Open(path)) {
    const bool readable = SizeOfFile(path) && ::access(path.c_str(), R_OK) == 0;
    findings.Add(readable ? Code::DatabaseDamaged : Code::DatabaseUnreadable, path, database.Problem());
    return;
  }
  const TableCheck check{input, kind, path, database, findings};
  if (CheckShape(check)) {
    CheckIndexes(check);
    CheckRing(check);
  }
  CheckPages(check);
}

// The deepest folder of a path that is there.
std::string ExistingFolder(std::string path) {
  do {
    path.erase(std::min(path.find_last_of('/'), path.size()));
  } while (!path.empty() && ::access(path.c_str(), F_OK) != 0);
  return path.empty() ? "/" : path;
}

struct Disk {
  dev_t device;
  std::string folder;
  std::int64_t free;
  std::int64_t wanted;
};

// The disks that the databases lie on, and what the full rings still want of each.
std::vector<Disk> DisksOf(const CheckInput& input) {
  std::vector<Disk> disks;
  for (const SourceKind kind : kAllKinds) {
    const DatabaseConfig& config = input.tree.main->DataCollectorDBConfig[kind];
    if (!input.Looks(kind) || config.i8_DatabaseName.empty()) {
      continue;
    }
    const std::string path = input.tree.Path(config.i8_DatabaseName.c_str());
    const std::string folder = ExistingFolder(path);
    struct stat status {};
    struct statvfs room {};
    if (::stat(folder.c_str(), &status) != 0 || ::statvfs(folder.c_str(), &room) != 0) {
      continue;
    }
    auto disk = std::ranges::find(disks, status.st_dev, &Disk::device);
    if (disk == disks.end()) {
      disks.push_back({status.st_dev, folder,
                       static_cast<std::int64_t>(room.f_bavail) * static_cast<std::int64_t>(room.f_frsize),
                       0});
      disk = disks.end() - 1;
    }
    disk->wanted +=
        std::max<std::int64_t>(config.ui16_MAXRecords * kTypicalRow - SizeOfFile(path).value_or(0), 0);
  }
  return disks;
}

}  // namespace

void CheckTables(const CheckInput& input, Findings& findings) {
  for (const SourceKind kind : kAllKinds) {
    if (input.Looks(kind)) {
      CheckTable(input, kind, findings);
    }
  }
  for (const Disk& disk : DisksOf(input)) {
    const std::string free = std::to_string(disk.free / 1024) + " kB free";
    if (::access(disk.folder.c_str(), W_OK) != 0) {
      findings.Add(Code::FolderRights, disk.folder, "can't be written");
    }
    if (disk.free < kLeastFree) {
      findings.Add(Code::DiskFull, disk.folder, free);
    } else if (disk.free < disk.wanted) {
      findings.Add(Code::DiskSmall, disk.folder,
                   free + ", the rings will want " + std::to_string(disk.wanted / 1024) + " kB more");
    }
  }
}

}  // namespace datacollector::ctl
