// datacollectorctl repair: works on a copy, shows what it would do, and puts the copy into place only when
// asked.

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "Command.h"
#include "Figures.h"
#include "GatewayTree.h"
#include "Output.h"
#include "ReadOnlyDatabase.h"
#include "Salvage.h"
#include "config/LibConfigRead.h"
#include "ground/KindShape.h"
#include "ground/Shell.h"

namespace datacollector::ctl {
namespace {

constexpr std::array<Option, 7> kOptions = {{
    {"salvage", nullptr, "make a new database of the rows that can still be read from a damaged one"},
    {"migrate", nullptr, "make a new database with the columns and indexes of the column file"},
    {"renumber", nullptr, "number the rows from 1 in their order, as a changed row limit needs it"},
    {"recreate", nullptr, "make a new, empty database"},
    {"apply", nullptr, "do it; without this the result is only described"},
    {"root", "DIR", "repair the copied gateway below DIR instead of this machine"},
    {"help", nullptr, "print this text"},
}};

// A repair at work: the database, the copy that becomes the new one, and what it is to hold.
struct Repair {
  const DatabaseConfig& config;
  const DatabaseParams& params;
  std::string path;    // the database
  std::string folder;  // of the copies; removed at the end
  std::string columnFile;

  std::string Old() const { return folder + "/old"; }  // with its log, if it had one
  std::string New() const { return folder + "/new"; }
  std::string Table() const { return config.i8_TableName.c_str(); }
};

struct CloseDatabase {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
using Handle = std::unique_ptr<sqlite3, CloseDatabase>;

Handle OpenForWriting(const std::string& path) {
  sqlite3* handle = nullptr;
  sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  return Handle(handle);
}

bool Complain(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return false;
}

bool Run(sqlite3* handle, const std::string& statements) {
  return sqlite3_exec(handle, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK ||
         Complain(sqlite3_errmsg(handle));
}

bool MakeNew(const Repair& repair) {
  const std::string command = "/bin/DatabaseInterface.sh --command create_table --databasepath '" +
                              repair.folder + "' --database new --table '" + repair.Table() + "' --config '" +
                              repair.columnFile + "'";
  return RunShellCommand(command.c_str()) == 0 || Complain("the table script failed");
}

// The columns that the old table has, too, joined by commas.
std::string SharedColumns(const Repair& repair) {
  ReadOnlyDatabase old;
  std::string names;
  if (!old.Open(repair.Old())) {
    return names;
  }
  for (std::size_t index = 0; index < repair.config.ui16_NoOfColumns; ++index) {
    const std::string name = repair.config.i8_ColumnNames[index].c_str();
    if (old.Number("SELECT count(*) FROM pragma_table_info('" + repair.Table() +
                       "') WHERE lower(name) = lower('" + name + "')",
                   true) == 1) {
      names += (names.empty() ? "" : ",") + name;
    }
  }
  return names;
}

// Keeps every row with its row id, so that the order of sending stays.
bool Migrate(const Repair& repair) {
  const std::string names = SharedColumns(repair);
  if (names.empty()) {
    return Complain("the old table can't be read, or shares no column: see --salvage and --recreate");
  }
  ReadOnlyDatabase old;
  const Number evicted = old.Open(repair.Old()) ? old.Number("PRAGMA user_version") : Number();
  if (!MakeNew(repair)) {
    return false;
  }
  const Handle handle = OpenForWriting(repair.New());
  return Run(handle.get(), "ATTACH '" + repair.Old() + "' AS old; BEGIN; INSERT INTO main." + repair.Table() +
                               " (rowid," + names + ") SELECT rowid," + names + " FROM old." +
                               repair.Table() + " ORDER BY rowid; PRAGMA user_version = " +
                               std::to_string(evicted.value_or(0)) + "; COMMIT;");
}

// Rows over the limit go, the oldest of those that are sent first; an unsent one never does.
bool Renumber(const Repair& repair) {
  const std::string table = repair.Table();
  const std::string number = repair.config.i8_RecordNumber.c_str();
  const std::string limit = std::to_string(repair.config.ui16_MAXRecords);
  const std::string status = repair.params.i8_TxStatusColumn.c_str();
  const std::string unsent = std::to_string(repair.params.ui16_TxStatus);
  if (repair.config.ui16_MAXRecords == 0) {
    return Complain("the row limit is 0: correct <P>MaxRowsCount first");
  }
  if (!Migrate(repair)) {
    return false;
  }
  const Handle handle = OpenForWriting(repair.New());
  if (!Run(handle.get(), "BEGIN; DELETE FROM " + table + " WHERE rowid IN (SELECT rowid FROM " + table +
                             " WHERE " + status + " <> " + unsent +
                             " ORDER BY rowid LIMIT max(0, (SELECT count(*) FROM " + table + ") - " + limit +
                             ")); UPDATE " + table + " SET " + number +
                             " = o.n FROM (SELECT rowid AS r, row_number() OVER (ORDER BY rowid) AS n FROM " +
                             table + ") AS o WHERE " + table + ".rowid = o.r; COMMIT;")) {
    return false;
  }
  ReadOnlyDatabase made;
  const Number rows = made.Open(repair.New()) ? made.Number("SELECT count(*) FROM " + table, true) : Number();
  return (rows && *rows <= repair.config.ui16_MAXRecords) ||
         Complain("more rows are unsent than the limit of " + limit + " allows: raise it");
}

bool SalvageRows(const Repair& repair) {
  return MakeNew(repair) &&
         SalvageInto(repair.Old(), repair.New(), repair.Table(), repair.config.ui16_NoOfColumns);
}

struct Mode {
  const char* option;
  bool (*run)(const Repair&);
};
constexpr std::array<Mode, 4> kModes = {
    {{"salvage", SalvageRows}, {"migrate", Migrate}, {"renumber", Renumber}, {"recreate", MakeNew}}};

bool CopyWhole(const std::string& from, const std::string& to) {
  std::FILE* source = std::fopen(from.c_str(), "re");
  std::FILE* target = source == nullptr ? nullptr : std::fopen(to.c_str(), "wxe");
  std::array<char, 16384> block;
  bool good = target != nullptr;
  for (std::size_t bytes = 0; good && (bytes = std::fread(block.data(), 1, block.size(), source)) > 0;) {
    good = std::fwrite(block.data(), 1, bytes, target) == bytes;
  }
  good = good && std::ferror(source) == 0;
  if (source != nullptr) {
    std::fclose(source);
  }
  return (target == nullptr || std::fclose(target) == 0) && good;
}

bool Sync(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = descriptor >= 0 && ::fsync(descriptor) == 0;
  ::close(descriptor);
  return synced;
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

// The original keeps its log under its new name, so that it can be opened as it was.
bool PutIntoPlace(const Repair& repair) {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  std::array<char, 32> stamp{};
  std::strftime(stamp.data(), stamp.size(), "%Y%m%dT%H%M%SZ", &parts);
  const std::string kept = repair.path + ".before-" + stamp.data();
  if (SizeOfFile(kept) || !Sync(repair.New())) {
    return Complain("can't keep the original as " + kept);
  }
  if (SizeOfFile(repair.path)) {
    if (::link(repair.path.c_str(), kept.c_str()) != 0) {
      return Complain("can't keep the original as " + kept + ": " + std::strerror(errno));
    }
    ::rename((repair.path + "-wal").c_str(), (kept + "-wal").c_str());
    ::unlink((repair.path + "-shm").c_str());
  }
  if (::rename(repair.New().c_str(), repair.path.c_str()) != 0 || !Sync(FolderOf(repair.path))) {
    return Complain("can't put the new database into place: " + std::string(std::strerror(errno)));
  }
  std::printf("done; the original is kept as %s\n", kept.c_str());
  return true;
}

void Describe(const Repair& repair) {
  ReadOnlyDatabase made;
  if (!made.Open(repair.New())) {
    return;
  }
  const std::string from = "SELECT count(*) FROM " + repair.Table();
  const std::string unsent = std::string(" WHERE ") + repair.params.i8_TxStatusColumn.c_str() + " = " +
                             std::to_string(repair.params.ui16_TxStatus);
  std::printf("the new database has %lld rows, %lld of them unsent\n",
              static_cast<long long>(made.Number(from, true).value_or(-1)),
              static_cast<long long>(made.Number(from + unsent, true).value_or(-1)));
}

// The copies lie beside the database, so that the new one can be renamed into place; of a dry run in /tmp.
bool Work(Repair repair, const Mode& mode, bool apply) {
  repair.folder = (apply ? FolderOf(repair.path) : std::string("/tmp")) + "/.repair.XXXXXX";
  if (::mkdtemp(repair.folder.data()) == nullptr) {
    return Complain("no folder for a copy: " + std::string(std::strerror(errno)));
  }
  bool good = !SizeOfFile(repair.path) || CopyWhole(repair.path, repair.Old());
  good =
      good && (!SizeOfFile(repair.path + "-wal") || CopyWhole(repair.path + "-wal", repair.Old() + "-wal"));
  if (good && SizeOfFile(repair.Old() + "-wal")) {
    // What the log holds belongs to the rows; a damaged database may refuse it.
    sqlite3_exec(OpenForWriting(repair.Old()).get(), "PRAGMA journal_mode = DELETE", nullptr, nullptr,
                 nullptr);
  }
  good = (good || Complain("can't copy " + repair.path)) && mode.run(repair);
  if (good) {
    Describe(repair);
    good = !apply || PutIntoPlace(repair);
  }
  if (good && !apply) {
    std::printf("nothing has been changed; --apply does it\n");
  }
  for (const char* file :
       {"/old", "/old-wal", "/old-shm", "/new", "/new-wal", "/new-shm", "/new-journal", ""}) {
    ::remove((repair.folder + file).c_str());
  }
  return good;
}

const Mode* ModeOf(const Arguments& arguments) {
  const Mode* chosen = nullptr;
  for (const Mode& mode : kModes) {
    if (arguments.Has(mode.option)) {
      if (chosen != nullptr) {
        return nullptr;
      }
      chosen = &mode;
    }
  }
  return chosen;
}

int RunRepair(const Arguments& arguments) {
  const std::optional<std::string> root = RootOf(arguments);
  const Mode* mode = ModeOf(arguments);
  const auto kind = arguments.Rest().size() == 1 ? KindOf(arguments.Rest().front()) : std::nullopt;
  if (!root || mode == nullptr || !kind) {
    Complain("exactly one kind and one of --salvage, --migrate, --renumber, --recreate");
    return kExitUsage;
  }
  const GatewayTree tree = LoadGateway(*root);
  std::array<KindStatus, kSourceKinds> unused;
  if (ReadDaemonStatus(*root, unused).alive) {
    Complain("the daemon runs: stop it first");
    return kExitCannot;
  }
  const DatabaseConfig& config = tree.main->DataCollectorDBConfig[*kind];
  if (config.i8_DatabaseName.empty() || config.i8_TableName.empty() || config.ui16_NoOfColumns == 0) {
    Complain("the kind has no database, table or columns: run datacollectorctl check");
    return kExitCannot;
  }
  const std::string columnFile = RootedPath(root->c_str(), ConfigFilePaths()[kColumnFiles + *kind]).c_str();
  const Repair repair{config, tree.main->DataCollectorDBParams[*kind],
                      tree.Path(config.i8_DatabaseName.c_str()), "", columnFile};
  return Work(repair, *mode, arguments.Has("apply")) ? 0 : kExitCannot;
}

}  // namespace

const Command kRepairCommand = {"repair",
                                "KIND",
                                "mend a kind's database on a copy, with the daemon stopped",
                                kOptions,
                                "0 done (or could be done, without --apply), 64 wrong usage, 70 could not",
                                RunRepair};

}  // namespace datacollector::ctl
