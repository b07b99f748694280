// What the table script refuses: with a message on standard error, a status, and nothing left behind.
#include <sqlite3.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>

#include "unit/tools/TableScript.h"

namespace datacollector {

namespace {

using Rows = std::vector<std::string>;

constexpr const char* kColumns = "A = TEXT\nB = INTEGER\n";

class TableErrors : public TableScript {
 protected:
  void ExpectRefusal(const ScriptResult& result, int status, const std::string& message) const {
    EXPECT_EQ(result.status, status);
    EXPECT_NE(result.error.find(message), std::string::npos) << result.error;
    EXPECT_EQ(result.error.rfind('\n'), result.error.size() - 1);
    EXPECT_EQ(result.output, "");
    EXPECT_FALSE(std::filesystem::exists(database_));
    if (std::filesystem::exists(databaseFolder_)) {
      EXPECT_EQ(DatabaseFolder(), Rows{});
    }
  }

  // A good call without one of its arguments and that argument's value.
  ScriptResult RunWithout(const std::string& argument) const {
    Configure(kColumns);
    std::vector<std::string> arguments = Arguments();
    for (auto word = arguments.begin(); word != arguments.end(); ++word) {
      if (*word == argument) {
        arguments.erase(word, word + 2);
        break;
      }
    }
    return Run(arguments);
  }

  // A good call with another value for one of its arguments.
  ScriptResult RunWith(const std::string& argument, const std::string& value) const {
    Configure(kColumns);
    std::vector<std::string> arguments = Arguments();
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
      if (arguments[i] == argument) {
        arguments[i + 1] = value;
      }
    }
    return Run(arguments);
  }

  // Leaves the script with these tools only.
  void Equip(const std::vector<std::string>& tools) {
    searchPath_ = folder_ / "tools";
    std::filesystem::create_directory(searchPath_);
    for (const std::string& tool : tools) {
      std::filesystem::create_symlink("/usr/bin/" + tool, searchPath_ + "/" + tool);
    }
  }

  std::string DatabaseBytes() const {
    std::ifstream file(database_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
};

TEST_F(TableErrors, NoArguments) { ExpectRefusal(Run({}), 2, "--command is missing"); }

TEST_F(TableErrors, MissingCommand) { ExpectRefusal(RunWithout("--command"), 2, "--command is missing"); }

TEST_F(TableErrors, MissingDatabasePath) {
  ExpectRefusal(RunWithout("--databasepath"), 2, "--databasepath is missing");
}

TEST_F(TableErrors, MissingDatabase) { ExpectRefusal(RunWithout("--database"), 2, "--database is missing"); }

TEST_F(TableErrors, MissingTable) { ExpectRefusal(RunWithout("--table"), 2, "--table is missing"); }

TEST_F(TableErrors, MissingConfig) { ExpectRefusal(RunWithout("--config"), 2, "--config is missing"); }

TEST_F(TableErrors, EmptyValue) { ExpectRefusal(RunWith("--table", ""), 2, "--table is missing"); }

TEST_F(TableErrors, ArgumentWithoutValue) { ExpectRefusal(Run({"--command"}), 2, "--command needs a value"); }

TEST_F(TableErrors, UnknownArgument) {
  ExpectRefusal(Run({"--verbose"}), 2, "unknown argument '--verbose' (see --help)");
}

TEST_F(TableErrors, UnknownCommand) {
  ExpectRefusal(RunWith("--command", "drop_table"), 2, "unknown command 'drop_table'");
}

TEST_F(TableErrors, DatabaseThatIsAPath) {
  ExpectRefusal(RunWith("--database", "../Records.db"), 2, "'../Records.db' is not the name of a file");
}

TEST_F(TableErrors, MissingConfigFile) {
  ExpectRefusal(Run(Arguments()), 1, "can't read the configuration file '" + config_.string() + "'");
}

TEST_F(TableErrors, ConfigFileThatMayNotBeRead) {
  Configure(kColumns);
  std::filesystem::permissions(config_, std::filesystem::perms::none);
  ExpectRefusal(Run(Arguments()), 1, "can't read the configuration file");
}

TEST_F(TableErrors, ConfigFileThatIsADirectory) {
  std::filesystem::create_directory(config_);
  ExpectRefusal(Run(Arguments()), 1, "can't read the configuration file");
}

TEST_F(TableErrors, IllegalTableName) {
  for (const char* name : {"1Table", "Rec ords", "a;DROP TABLE b", "x'y", "T\xC3\xA4"}) {
    ExpectRefusal(RunWith("--table", name), 1, std::string("illegal table name '") + name + "'");
  }
}

TEST_F(TableErrors, IllegalColumnName) {
  for (const char* name : {"1A", "Rec ord", "a);DROP TABLE b", "x'y", "x-y", "T\xC3\xA4", ""}) {
    ExpectRefusal(CreateFrom("A = TEXT\n" + std::string(name) + " = TEXT\n"), 1,
                  std::string("illegal column name '") + name + "'");
  }
}

TEST_F(TableErrors, ColumnThatHidesTheRowId) {
  for (const char* name : {"rowid", "OID", "_rowid_"}) {
    ExpectRefusal(CreateFrom("A = TEXT\n" + std::string(name) + " = TEXT\n"), 1,
                  std::string("column '") + name + "' would hide the row id");
  }
}

TEST_F(TableErrors, ColumnThatIsAWordOfSql) {
  ExpectRefusal(CreateFrom("A = TEXT\norder = TEXT\n"), 1, "can't create the table 'Records'");
}

TEST_F(TableErrors, TableThatIsAWordOfSql) {
  ExpectRefusal(RunWith("--table", "select"), 1, "can't create the table 'select'");
}

TEST_F(TableErrors, NoColumns) {
  ExpectRefusal(CreateFrom("# nothing\nDatabaseName = x\nTableName = y\n"), 1, "no columns");
}

TEST_F(TableErrors, EmptyConfigFile) { ExpectRefusal(CreateFrom(""), 1, "no columns"); }

TEST_F(TableErrors, DuplicateColumnInAnotherCase) {
  ExpectRefusal(CreateFrom("Alpha = TEXT\nB = TEXT\nALPHA = TEXT\n"), 1, "duplicate column 'ALPHA'");
}

TEST_F(TableErrors, MissingSqliteTool) {
  Configure(kColumns);
  Equip({"awk", "cat", "ln", "mkdir", "mktemp", "rm", "tr"});
  ExpectRefusal(Run(Arguments()), 1, "the sqlite3 tool is missing");
}

TEST_F(TableErrors, MissingAwkTool) {
  Configure(kColumns);
  Equip({"cat", "ln", "mkdir", "mktemp", "rm", "sqlite3", "tr"});
  ExpectRefusal(Run(Arguments()), 1, "the awk tool is missing");
}

TEST_F(TableErrors, DirectoryThatCannotBeMade) {
  const std::ofstream file(databaseFolder_);
  Configure(kColumns);
  const ScriptResult result = Run(Arguments());
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.error.find("can't make the directory"), std::string::npos) << result.error;
}

TEST_F(TableErrors, DirectoryThatMayNotBeWritten) {
  std::filesystem::create_directory(databaseFolder_);
  std::filesystem::permissions(databaseFolder_,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  ExpectRefusal(CreateFrom(kColumns), 1, "can't write to the directory");
}

TEST_F(TableErrors, TableWithOtherColumnsStaysAsItIs) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  for (const char* other : {"A = TEXT\n", "B = INTEGER\nA = TEXT\n", "A = TEXT\nB = TEXT\n",
                            "A = TEXT\nB = INTEGER\nC = TEXT\n"}) {
    const std::string before = DatabaseBytes();
    const ScriptResult result = CreateFrom(other);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("exists with other columns"), std::string::npos) << result.error;
    EXPECT_EQ(DatabaseBytes(), before);
  }
}

TEST_F(TableErrors, FailureInADatabaseThatIsThereKeepsItsTables) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  const std::string before = DatabaseBytes();
  const ScriptResult result = RunWith("--table", "select");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.error.find("can't create the table 'select'"), std::string::npos) << result.error;
  EXPECT_EQ(DatabaseBytes(), before);
  EXPECT_EQ(DatabaseFolder(), Rows{"Records.db"});
}

TEST_F(TableErrors, FileThatIsNoDatabaseStaysAsItIs) {
  std::filesystem::create_directory(databaseFolder_);
  const std::string text(2048, 'x');
  std::ofstream(database_) << text;
  const ScriptResult result = CreateFrom(kColumns);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.error.find("can't read the database"), std::string::npos) << result.error;
  EXPECT_EQ(DatabaseBytes(), text);
}

TEST_F(TableErrors, DatabaseThatStaysLocked) {
  ASSERT_EQ(CreateFrom(kColumns).status, 0);
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(database_.c_str(), &handle), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closer(handle, &sqlite3_close);
  ASSERT_EQ(sqlite3_exec(handle, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const ScriptResult result = Run(Arguments("More"));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.error.find("database is locked"), std::string::npos) << result.error;
}

}  // namespace

}  // namespace datacollector
