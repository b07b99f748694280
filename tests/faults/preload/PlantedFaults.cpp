#include "faults/preload/PlantedFaults.h"

#include <mosquitto.h>
#include <sqlite3.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "faults/preload/RealCall.h"

namespace datacollector::faults {
namespace {

bool IsPlanted(std::string_view name) {
  static const char* const planted = std::getenv(kPlantedVariable);
  return planted != nullptr && name == planted;
}

bool StartsWith(const char* text, const char* start) {
  return ::strncasecmp(text, start, std::strlen(start)) == 0;
}

std::string Replaced(const std::string& text, const std::string& old, const std::string& by) {
  const std::size_t at = text.rfind(old);
  return at == std::string::npos ? text : text.substr(0, at) + by + text.substr(at + old.size());
}

// A statement that is changed on its way to SQLite.
struct ChangedStatement {
  const char* fault;
  const char* start;  // of the statements concerned
  std::string (*change)(const std::string& statement);
};

std::string Nothing(const std::string& /*statement*/) { return "SELECT 1"; }

// clang-format off
constexpr ChangedStatement kChangedStatements[] = {
    {"two-transactions",   "BEGIN",         Nothing},
    {"two-transactions",   "COMMIT",        Nothing},
    {"commit-forgotten",   "COMMIT",        [](const std::string&) { return std::string("ROLLBACK"); }},
    {"number-forgotten",   "select * from", [](const std::string& s) { return s.substr(0, s.find(" where")) + " where 0"; }},
    {"deletes-too-much",   "delete from",   [](const std::string& s) { return Replaced(s, " = ", " <= "); }},
    {"deletes-nothing",    "delete from",   Nothing},
    {"status-forgotten",   "UPDATE",        Nothing},
    {"status-for-anybody", "UPDATE",        [](const std::string& s) { return s.substr(0, s.rfind(" and ")); }},
};
// clang-format on

// What SQLite gets in place of a statement; nullptr: the statement itself. Valid until the thread's next one,
// as the rest of the text is looked for behind it after the call.
const char* Changed(const char* text) {
  for (const ChangedStatement& changed : kChangedStatements) {
    if (IsPlanted(changed.fault) && StartsWith(text, changed.start)) {
      thread_local std::string replacement;
      replacement = changed.change(text);
      return replacement.c_str();
    }
  }
  return nullptr;
}

// The small file beside a database that shows what the disk can do.
bool IsTrial(sqlite3* handle) {
  const char* const file = sqlite3_db_filename(handle, "main");
  return file != nullptr && std::string_view(file).ends_with(".trial");
}

}  // namespace
}  // namespace datacollector::faults

using datacollector::faults::IsPlanted;

extern "C" {

int sqlite3_prepare_v2(sqlite3* handle, const char* text, int length, sqlite3_stmt** statement,
                       const char** tail) {
  DATACOLLECTOR_REAL("sqlite3_prepare_v2", int(sqlite3*, const char*, int, sqlite3_stmt**, const char**));
  const char* const changed = datacollector::faults::Changed(text);
  return changed == nullptr ? real(handle, text, length, statement, tail)
                            : real(handle, changed, -1, statement, tail);
}

int sqlite3_prepare_v3(sqlite3* handle, const char* text, int length, unsigned flags,
                       sqlite3_stmt** statement, const char** tail) {
  DATACOLLECTOR_REAL("sqlite3_prepare_v3",
                     int(sqlite3*, const char*, int, unsigned, sqlite3_stmt**, const char**));
  const char* const changed = datacollector::faults::Changed(text);
  return changed == nullptr ? real(handle, text, length, flags, statement, tail)
                            : real(handle, changed, -1, flags, statement, tail);
}

int sqlite3_step(sqlite3_stmt* statement) {
  DATACOLLECTOR_REAL("sqlite3_step", int(sqlite3_stmt*));
  const int result = real(statement);
  const bool failed = result != SQLITE_ROW && result != SQLITE_DONE;
  if (failed && IsPlanted("error-swallowed")) {
    return SQLITE_DONE;
  }
  if (failed && IsPlanted("gives-up")) {
    std::abort();
  }
  return result;
}

int sqlite3_exec(sqlite3* handle, const char* text, int (*row)(void*, int, char**, char**), void* context,
                 char** error) {
  DATACOLLECTOR_REAL("sqlite3_exec",
                     int(sqlite3*, const char*, int (*)(void*, int, char**, char**), void*, char**));
  if (IsPlanted("trial-ignored") && datacollector::faults::IsTrial(handle)) {
    return SQLITE_OK;
  }
  if (IsPlanted("removal-not-synced") && std::strstr(text, "synchronous=EXTRA") != nullptr) {
    return real(handle, "PRAGMA synchronous=FULL", row, context, error);
  }
  const int result = real(handle, text, row, context, error);
  return IsPlanted("error-swallowed") ? SQLITE_OK : result;
}

int sqlite3_wal_checkpoint_v2(sqlite3* handle, const char* name, int mode, int* inLog, int* done) {
  DATACOLLECTOR_REAL("sqlite3_wal_checkpoint_v2", int(sqlite3*, const char*, int, int*, int*));
  return IsPlanted("checkpoint-left-out") ? SQLITE_OK : real(handle, name, mode, inLog, done);
}

int mosquitto_publish(mosquitto* client, int* message, const char* topic, int length, const void* payload,
                      int qos, bool retain) {
  DATACOLLECTOR_REAL("mosquitto_publish", int(mosquitto*, int*, const char*, int, const void*, int, bool));
  const bool packet = topic != nullptr && std::strstr(topic, "HTTP") != nullptr;
  if (packet && IsPlanted("packet-lost")) {
    return MOSQ_ERR_SUCCESS;
  }
  if (packet && IsPlanted("packet-doubled")) {
    real(client, nullptr, topic, length, payload, qos, retain);
  }
  return real(client, message, topic, length, payload, qos, retain);
}

}  // extern "C"
