// A connection to a SQLite database file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>

#include "store/BoundValues.h"
#include "store/Failure.h"
#include "store/FileIdentity.h"
#include "store/Journal.h"

struct sqlite3;
struct sqlite3_stmt;

namespace datacollector {

// Receives one row; a value may be nullptr, and stays until the next row. Returns 0 to go on. A compiled
// statement has no names for it.
using RowCallback = int (*)(void* context, int columns, char** values, char** names);

// The text of a column value; a NULL counts as the empty text.
inline const char* ValueText(const char* value) { return value == nullptr ? "" : value; }

// One connection, for one thread at a time. Stays open until it is told otherwise; closes itself.
class Database {
 public:
  Database() = default;
  Database(const Database&) = delete;
  Database(Database&&) = delete;
  Database& operator=(const Database&) = delete;
  Database& operator=(Database&&) = delete;
  ~Database() { Close(); }

  // One attempt at opening the file, without a word; a connection that is open is closed before. A file that
  // is missing is made, empty. `locking` as in LockingOf. Opening alone reads nothing: what is no database
  // fails at its first statement.
  bool Open(const char* path, const char* locking = nullptr);
  bool IsOpen() const { return handle_ != nullptr; }

  // Whether that is the file which is open here, and there is something in it.
  bool IsOpenOn(const FileState& file) const { return IsOpen() && file.identity == file_ && file.bytes > 0; }

  // Puts a new connection to the same file in the place of one that has met a failing disk, if the file can
  // be read; else this one stays. The old one ends last: with it would go the shared index of the log,
  // without which the log is read again, and a commit that failed at its sync would count after all.
  void Renew(const char* locking);

  // Takes over how the database is kept. False when it has to be tried again, see SwitchJournal.
  bool Settle(Journal journal);
  bool IsSettled() const { return settled_; }

  // Closes the connection; the last error's text stays. What the log holds stays in the log.
  void Close();

  // Writes what the log holds into the file that is open here, whatever its path names by now.
  void EmptyLog();

  // Runs statements. Waits up to 100 ms for a lock that somebody else holds.
  bool Execute(const char* statements, RowCallback onRow = nullptr, void* context = nullptr);

  // Runs one statement that is needed again and again, and is compiled once; `numbers` are what its question
  // marks stand for. `answer`, where it is asked for, gets the first value of the row, and stays as it is
  // when there is none.
  bool Run(const char* statement, std::initializer_list<std::int64_t> numbers = {},
           std::int64_t* answer = nullptr);

  // The same with values of a record, of which the real numbers are read here.
  bool Run(const char* statement, std::span<BoundValue> values);

  // The same for a query without question marks, whose rows have at most 200 values.
  bool Query(const char* statement, RowCallback onRow, void* context);

  // A number that no other opening of the process has; 0 while nothing is open.
  std::uint32_t Opening() const { return opening_; }

  // Rows that the last statement which changed rows has changed.
  std::int64_t ChangedRows() const;

  // Takes back an open transaction, if there is one. Keeps the failure.
  void Rollback();
  bool InTransaction() const;

  // Makes `text` the reason of a failure, for a record that was refused before SQLite saw it.
  void Refuse(const char* text);

  // Why the last opening or statement failed. `ErrorText` is valid until the next one.
  Failure LastFailure() const { return failure_; }
  const char* ErrorText() const { return error_.c_str(); }

  // The files as they were when the connection was made; with a log, the log's are known once it is settled.
  const FileIdentity& File() const { return file_; }
  const std::array<FileIdentity, kBesideSuffixes.size()>& FilesBeside() const { return beside_; }

 private:
  struct CloseHandle {
    void operator()(sqlite3* handle) const;
  };
  struct FinishStatement {
    void operator()(sqlite3_stmt* statement) const;
  };
  struct Prepared {
    std::string text;
    std::unique_ptr<sqlite3_stmt, FinishStatement> statement;
  };

  bool Note(int code);
  void Swap(Database& other);
  sqlite3_stmt* Compiled(const char* text);
  bool Finish(sqlite3_stmt* statement, std::int64_t* answer);
  bool ReadReal(BoundValue& value);
  static int OnCommit(void* context, sqlite3* handle, const char* name, int frames);

  std::unique_ptr<sqlite3, CloseHandle> handle_;
  std::array<Prepared, 12> prepared_{};  // of the handle, and gone before it
  std::size_t nextPrepared_ = 0;
  std::string path_;
  FileIdentity file_;
  std::array<FileIdentity, kBesideSuffixes.size()> beside_{};
  std::uint32_t opening_ = 0;
  bool settled_ = false;
  std::int64_t pageBytes_ = 0;
  Failure failure_ = Failure::None;
  std::string error_;
};

}  // namespace datacollector
