// Runs the table script as the daemon's shell command would, and looks at the database that it made.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace datacollector {

struct ScriptResult {
  int status;  // exit status; -1 when a signal ended it
  std::string output;
  std::string error;
};

// A run of the script, started at once; each gets files of its own in `folder` for what it prints.
class ScriptRun {
 public:
  ScriptRun(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
            const std::string& searchPath);

  // Blocks until the script has ended; to be called once.
  ScriptResult Wait() const;

 private:
  std::filesystem::path output_;
  std::filesystem::path error_;
  pid_t process_ = -1;
};

// Rows of a query, the values of a row joined by blanks. A failure fails the test.
std::vector<std::string> QueryRows(const std::filesystem::path& database, const std::string& sql);

// Every test works in a folder of its own: the configuration in it, the database in its `db`.
class TableScript : public testing::Test {
 public:
  TableScript(const TableScript&) = delete;
  TableScript& operator=(const TableScript&) = delete;
  TableScript(TableScript&&) = delete;
  TableScript& operator=(TableScript&&) = delete;

 protected:
  TableScript();
  ~TableScript() override;

  ScriptRun Start(const std::vector<std::string>& arguments) const;
  ScriptResult Run(const std::vector<std::string>& arguments) const { return Start(arguments).Wait(); }

  // The arguments of a complete call, for this test's folder, database and configuration.
  std::vector<std::string> Arguments(const std::string& table = "Records") const;

  // Writes the configuration and creates the table from it.
  ScriptResult CreateFrom(const std::string& configuration) const;
  void Configure(const std::string& text) const;

  // "name TYPE" of the table's columns in their order.
  std::vector<std::string> Columns(const std::string& table = "Records") const;

  // Names of what stands in the database's folder.
  std::vector<std::string> DatabaseFolder() const;

  std::filesystem::path folder_;
  std::filesystem::path databaseFolder_;
  std::filesystem::path database_;
  std::filesystem::path config_;
  std::string searchPath_;
};

}  // namespace datacollector
