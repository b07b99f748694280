#include "unit/tools/TableScript.h"

#include <fcntl.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

namespace datacollector {

namespace {

constexpr const char* kScript = "/bin/DatabaseInterface.sh";

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::filesystem::path MakeFolder() {
  std::string name = "/tmp/TableScript.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    ADD_FAILURE() << "no folder for the test";
  }
  return name;
}

}  // namespace

ScriptRun::ScriptRun(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                     const std::string& searchPath) {
  static std::atomic<int> runs{0};
  const std::string number = std::to_string(runs++);
  output_ = folder / ("output" + number);
  error_ = folder / ("error" + number);

  std::vector<std::string> words{kScript};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  std::transform(words.begin(), words.end(), std::back_inserter(argv),
                 [](std::string& word) { return word.data(); });
  argv.push_back(nullptr);
  std::string path = "PATH=" + searchPath;
  std::array<char*, 2> environment{path.data(), nullptr};

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int kFlags = O_CREAT | O_WRONLY | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, output_.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, error_.c_str(), kFlags, 0600);
  const int failure = posix_spawn(&process_, kScript, &actions, nullptr, argv.data(), environment.data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    ADD_FAILURE() << "the script can't be started: error " << failure;
  }
}

ScriptResult ScriptRun::Wait() const {
  int status = 0;
  if (waitpid(process_, &status, 0) != process_) {
    ADD_FAILURE() << "the script's end was missed";
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(output_), ReadText(error_)};
}

std::vector<std::string> QueryRows(const std::filesystem::path& database, const std::string& sql) {
  sqlite3* handle = nullptr;
  std::vector<std::string> rows;
  const int opened = sqlite3_open_v2(database.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closer(handle, &sqlite3_close);
  EXPECT_EQ(opened, SQLITE_OK) << database;
  const auto addRow = [](void* target, int count, char** values, char**) {
    std::string row;
    for (int i = 0; i < count; ++i) {
      row += (i == 0 ? "" : " ") + std::string(values[i] == nullptr ? "NULL" : values[i]);
    }
    static_cast<std::vector<std::string>*>(target)->push_back(row);
    return 0;
  };
  if (opened == SQLITE_OK) {
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), addRow, &rows, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
  }
  return rows;
}

TableScript::TableScript()
    : folder_(MakeFolder()),
      databaseFolder_(folder_ / "db"),
      database_(databaseFolder_ / "Records.db"),
      config_(folder_ / "Columns.cfg"),
      searchPath_("/usr/bin:/bin") {}

TableScript::~TableScript() {
  std::error_code ignored;
  std::filesystem::permissions(databaseFolder_, std::filesystem::perms::owner_all, ignored);
  std::filesystem::remove_all(folder_, ignored);
}

ScriptRun TableScript::Start(const std::vector<std::string>& arguments) const {
  return {folder_, arguments, searchPath_};
}

std::vector<std::string> TableScript::Arguments(const std::string& table) const {
  return {"--command",  "create_table",  "--databasepath", databaseFolder_.string() + "/",
          "--database", "Records.db",    "--table",        table,
          "--config",   config_.string()};
}

ScriptResult TableScript::CreateFrom(const std::string& configuration) const {
  Configure(configuration);
  return Run(Arguments());
}

void TableScript::Configure(const std::string& text) const {
  std::ofstream(config_, std::ios::binary) << text;
}

std::vector<std::string> TableScript::Columns(const std::string& table) const {
  return QueryRows(database_, "SELECT name, type FROM pragma_table_info('" + table + "')");
}

std::vector<std::string> TableScript::DatabaseFolder() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(databaseFolder_)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace datacollector
