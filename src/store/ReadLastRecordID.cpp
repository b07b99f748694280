#include "store/ReadLastRecordID.h"

#include <array>
#include <atomic>
#include <ctime>
#include <limits>
#include <string_view>

#include "app/ground/FixedText.h"
#include "app/ground/Flags.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/Trace.h"
#include "store/CreateDB.h"
#include "store/Database.h"

namespace datacollector {
namespace {

struct RecoveryRow {
  const char* function;
  WaitUnit unit;  // of the wait between two attempts at start
};

// The writers of RS-232 and SNMP take the same setting as milliseconds.
constexpr std::array<RecoveryRow, kSourceKinds> kRecoveries = {{
    {"ReadLastAIORecordID", WaitUnit::Seconds},
    {"ReadLastDIORecordID", WaitUnit::Seconds},
    {"ReadLastTemperatureRecordID", WaitUnit::Seconds},
    {"ReadLastRS485RecordID", WaitUnit::Milliseconds},
    {"ReadLastRS232RecordID", WaitUnit::Seconds},
    {"ReadLastSNMPRecordID", WaitUnit::Seconds},
}};

// How the time between two attempts is spent; see RetryRule.
struct Pause {
  WaitUnit unit;
  SleepSource sleep;
  SleepSource sleepWithoutTable;
};

// Since when a record waits for a recovery at start, in seconds of the monotonic clock, or kNobodyWaits.
// Written by network, read by main.
constexpr std::uint32_t kNobodyWaits = std::numeric_limits<std::uint32_t>::max();
UnsignedWord gWaitingSince = kNobodyWaits;

std::uint32_t MonotonicSeconds() { return static_cast<std::uint32_t>(TakeMonotonicClock().now.tv_sec); }

bool HasARecordWaited(std::uint32_t seconds) {
  const std::uint32_t since = gWaitingSince;
  return since != kNobodyWaits && MonotonicSeconds() - since >= seconds;
}

// nanosleep for the recoveries at start: looks every second whether a record has waited for too long. While
// one waits nothing is received, of no kind, and a broker gives a silent client up after 90 seconds.
template <std::uint32_t kPatience>
int SleepUntilARecordHasWaited(const timespec* length, timespec* remaining) {
  timespec left = *length;
  for (; left.tv_sec > 0; --left.tv_sec) {
    const timespec second{1, 0};
    if (HasARecordWaited(kPatience)) {
      return 0;
    }
    if (::nanosleep(&second, remaining) != 0) {
      return -1;
    }
  }
  return ::nanosleep(&left, remaining);
}

// A lock goes away; a table that is missing stays away.
constexpr SleepSource kSleepAtStart = SleepUntilARecordHasWaited<10>;
constexpr SleepSource kSleepAtStartWithoutTable = SleepUntilARecordHasWaited<0>;

constexpr RetryTexts kRetryTexts = {
    .failure = "can't read last record from table '%s'\nError message:%s\n",
    .failureLog = nullptr,
    .retry = "retry after waiting for an interval of '%d'seconds\n",
    .retryLog = nullptr,
    .missingTableLog = nullptr,
};

// The query of one recovery and what its row says.
struct LastRecordQuery {
  const char* recordNumberColumn;
  std::uint16_t gui16_LatestRecordID;
};

int OnLastRecord(void* context, int columns, char** values, char** names) {
  auto& query = *static_cast<LastRecordQuery*>(context);
  const std::string_view wanted = query.recordNumberColumn;
  Print("RECORD_NUMBER Column Name: %s\n", query.recordNumberColumn);
  for (int column = 0; column < columns; ++column) {
    if (wanted == names[column]) {
      query.gui16_LatestRecordID = static_cast<std::uint16_t>(LeadingNumber(ValueText(values[column])));
      Print("gui16_LatestRecordID = %d\n", query.gui16_LatestRecordID);
    }
  }
  return 0;
}

// The newest row is the one inserted last. In a ring that has come round it carries the last number written,
// which is not the highest one.
bool QueryLastRecord(Database& database, const DatabaseConfig& config, SourceKind kind, const Pause& pause,
                     LastRecordQuery& query) {
  const char* table = config.i8_TableName.c_str();
  FixedText<1024> statement;
  statement.Format("select * from %s where oid = (select max(oid) from %s)", table, table);
  const RetryRule rule = {.texts = kRetryTexts,
                          .path = config.i8_DatabaseName.c_str(),
                          .table = table,
                          .maxAttempts = config.ui16_MaxDatabaseAccessRetry,
                          .interval = config.i32_DatabaseAccessWaitInterval,
                          .unit = pause.unit,
                          .creator = CreatorOf(kind),
                          .function = kRecoveries[kind].function,
                          .sleep = pause.sleep,
                          .sleepWithoutTable = pause.sleepWithoutTable};
  return TryRepeatedly(database, rule,
                       [&] { return database.Execute(statement.c_str(), OnLastRecord, &query); });
}

Recovery RecoverRecordNumber(const DatabaseConfig& config, SourceKind kind, const Pause& pause,
                             std::uint16_t& recordNumber) {
  const char* path = config.i8_DatabaseName.c_str();
  const char* table = config.i8_TableName.c_str();
  LastRecordQuery query{config.i8_RecordNumber.c_str(), 0};
  Database database;
  if (!database.Open({path, CreatorOf(kind), nullptr})) {
    PrintError("Can't Connect to database '%s'\nError message: %s\n", path, database.ErrorText());
    return Recovery::NoTable;
  }
  if (!QueryLastRecord(database, config, kind, pause, query)) {
    PrintError("can not read last record from table '%s'\nError Message:%s\n", table, database.ErrorText());
    return database.LacksTable() ? Recovery::NoTable : Recovery::Failed;
  }
  database.Close();
  Print("Read last Record number '%d' from table '%s'\n", query.gui16_LatestRecordID, table);
  recordNumber = query.gui16_LatestRecordID;
  return Recovery::Done;
}

int ReadLastRecordID(const DataCollectorMainStructure& main, SourceKind kind, std::uint16_t& recordNumber,
                     const Pause& pause) {
  const FunctionTrace trace(kRecoveries[kind].function);
  const Recovery outcome = RecoverRecordNumber(main.DataCollectorDBConfig[kind], kind, pause, recordNumber);
  PrintLine(outcome == Recovery::Done ? "Returning SUCCESS from function 'ReadLastRecordID'"
                                      : "Returning FAILURE from function 'ReadLastRecordID'");
  gRecordNumberRecovery[kind] = outcome;
  gRecordNumberRecovery[kind].notify_all();
  return outcome == Recovery::Done ? 0 : -1;
}

int ReadLastRecordIDAtStart(const DataCollectorMainStructure& main, SourceKind kind,
                            std::uint16_t& recordNumber) {
  return ReadLastRecordID(main, kind, recordNumber,
                          {kRecoveries[kind].unit, kSleepAtStart, kSleepAtStartWithoutTable});
}

}  // namespace

int ReadLastAIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, AIO, recordNumber);
}
int ReadLastDIORecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, DIO, recordNumber);
}
int ReadLastTemperatureRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, TEMPERATURE, recordNumber);
}
int ReadLastRS485RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, RS485, recordNumber);
}
int ReadLastRS232RecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, RS232, recordNumber);
}
int ReadLastSNMPRecordID(DataCollectorMainStructure& main, std::uint16_t& recordNumber) {
  return ReadLastRecordIDAtStart(main, SNMP, recordNumber);
}

Recovery AwaitRecordNumberRecovery(DataCollectorMainStructure& main, SourceKind kind, WaitUnit unit) {
  std::atomic<Recovery>& recovery = gRecordNumberRecovery[kind];
  // The main thread recovers the enabled kinds only; nobody would end a wait for another one.
  if (recovery == Recovery::Pending && IsSourceEnabled(main.DataCollectorSourcesConfig, kind)) {
    gWaitingSince = MonotonicSeconds();
    recovery.wait(Recovery::Pending);
    gWaitingSince = kNobodyWaits;
  }
  if (recovery != Recovery::Done) {
    ReadLastRecordID(main, kind, main.DataCollectorDBData.ui16_DBRecordNumber[kind],
                     {unit, ::nanosleep, ::nanosleep});
  }
  return recovery;
}

}  // namespace datacollector
