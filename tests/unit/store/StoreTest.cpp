#include "unit/store/StoreTest.h"

#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "config/LibConfigRead.h"
#include "ground/FileLogger.h"
#include "ground/Notices.h"
#include "store/CreateDB.h"
#include "store/ReadLastRecordID.h"
#include "store/StoreAccess.h"
#include "store/UpdateRecord.h"
#include "store/WriteRecord.h"
#include "support/ExampleRecords.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

int CollectRow(void* context, int columns, char** values, char** /*names*/) {
  auto& rows = *static_cast<Rows*>(context);
  auto& row = rows.emplace_back();
  for (int column = 0; column < columns; ++column) {
    row.emplace_back(values[column] == nullptr ? "NULL" : values[column]);
  }
  return 0;
}

// The monotonic clock at the start of the machine.
int AtZero(clockid_t /*clock*/, timespec* now) {
  *now = {};
  return 0;
}

// The next notice of each kind follows at once.
void ForgetNotices() {
  Silently([] {
    for (const SourceKind kind : kAllKinds) {
      ReportLostRecord(kind, "", AtZero);
      ReportMisfitConfirmation(kind, 0, "", AtZero);
      ReportEvictedRecords(kind, 0, AtZero);
    }
    FlushAllNotices(AtZero);
    return 0;
  });
}

Rows Run(const std::string& path, const std::string& statements) {
  sqlite3* handle = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK) << path;
  sqlite3_busy_timeout(handle, 5000);
  Rows rows;
  EXPECT_EQ(sqlite3_exec(handle, statements.c_str(), CollectRow, &rows, nullptr), SQLITE_OK)
      << statements << ": " << sqlite3_errmsg(handle);
  sqlite3_close(handle);
  return rows;
}

}  // namespace

Rows Query(const std::string& path, const std::string& statement) { return Run(path, statement); }

void Execute(const std::string& path, const std::string& statements) { Run(path, statements); }

Outcome Observe(const std::function<int()>& operation, std::initializer_list<std::string_view> open) {
  fs::remove(kLogFile);
  CapturedOutput output;
  const int result = operation();
  const std::string out = output.Out();
  return {result, WithoutClock(Folded(out, open)), output.Err(), LogText()};
}

int Silently(const std::function<int()>& operation) {
  CapturedOutput output;
  const int result = operation();
  output.Out();
  return result;
}

StandIn::StandIn(const std::string& path, const std::string& text) : path_(path), aside_(path + ".aside") {
  fs::rename(path_, aside_);
  WriteFile(path_, text);
  fs::permissions(path_, fs::perms::owner_all);
}

StandIn::~StandIn() {
  std::error_code ignored;
  fs::rename(aside_, path_, ignored);
}

std::string SleepLines(int milliseconds) {
  return "slptm.tv_sec = " + std::to_string(milliseconds / 1000) +
         "\nslptm.tv_nsec = " + std::to_string(milliseconds % 1000 * 1000000) + "\nSleeping for " +
         std::to_string(milliseconds) + " milliseconds\n";
}

std::string ExampleData(SourceKind kind) {
  const std::string payload = kExamplePayloads[kind];
  return IsMeterKind(kind) ? payload.substr(payload.find(',') + 1) : payload;
}

StoreTest::StoreTest() {
  fs::remove_all("/vorl/disk/AppData/K740");
  fs::create_directories("/vorl/disk/AppData/K740");
  fs::create_directories(kLogDirectory);
  fs::copy(std::string(DATACOLLECTOR_SOURCE_DIR) + "/gateway/Config/root", "/root",
           fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  std::memset(&gMainState, 0, sizeof gMainState);
  ZeroFlags();
  Silently([] { return ReadConfig(gMainState); });
  for (const SourceKind kind : kAllKinds) {
    Receive(kind, ExampleData(kind));
    gMainState.DataCollectorDBData.i8_ReadTimeStamp[kind].Assign(kReadTime);
  }
  ForgetStore();
  SetAllRecovered();
  ForgetNotices();
  gMainState.i32_ParsedReqId.fill(7);
  gMainState.PublishTimeStamps = {};
  fs::remove(kLogFile);
}

void StoreTest::TearDown() {
  const auto& site = gMainState.DataCollectorSiteConfig;
  for (const char* copy :
       {gMainState.SoftwareVer, gMainState.OruVer, site.SiteID, site.DeviceID, site.FailureDataCharacter,
        site.OverallRecordstartmark, site.OverallRecordendmark}) {
    std::free(const_cast<char*>(copy));
  }
  if (::chdir("/") != 0) {
    ADD_FAILURE() << "the root can't be entered";
  }
}

void StoreTest::MakeTable(SourceKind kind) {
  fs::create_directories(kDatabaseDirectory);
  Silently([&] {
    const std::string path = Path(kind);
    CreateDatabase(kind, path.c_str());
    return StoreAccess(kind, path.c_str()).OpenOnce();
  });
  ASSERT_TRUE(fs::exists(Path(kind)));
}

void StoreTest::MakeDatabaseWithoutTable(SourceKind kind) {
  fs::create_directories(kDatabaseDirectory);
  const std::string path = Path(kind);
  WriteFile(path, "");
  Execute(path, "CREATE TABLE other_table (a TEXT)");
  Silently([&] { return StoreAccess(kind, path.c_str()).OpenOnce(); });
}

void StoreTest::ForgetStore() { ResetStore(); }

void StoreTest::SetAllRecovered() {
  for (const SourceKind kind : kAllKinds) {
    const std::string path = Path(kind);
    StoreAccess(kind, path.c_str()).SetRecovered();
  }
}

bool StoreTest::IsRecovered(SourceKind kind) {
  const std::string path = Path(kind);
  return StoreAccess(kind, path.c_str()).IsRecovered();
}

void StoreTest::CloseConnection(SourceKind kind) {
  const std::string path = Path(kind);
  StoreAccess(kind, path.c_str()).Close();
}

void StoreTest::Receive(SourceKind kind, const std::string& data) {
  DataCollectorDBData& buffers = gMainState.DataCollectorDBData;
  switch (kind) {
    case RS485:
      buffers.i8_MeterRecord.At(RS485, 0, RS485Line1).Assign(data);
      break;
    case RS232:
      buffers.i8_MeterRecord.At(RS232, 0).Assign(data);
      break;
    case SNMP:
      buffers.i8_MeterRecord.At(SNMP, 0).Assign(data);
      break;
    default:
      buffers.i8_IoRecord[kind].Assign(data);
  }
}

int StoreTest::Write(SourceKind kind) {
  switch (kind) {
    case AIO:
      return WriteAIDCDBRecords(gMainState, 7);
    case DIO:
      return WriteDIODCDBRecords(gMainState);
    case TEMPERATURE:
      return WriteTemperatureDCDBRecords(gMainState);
    case RS485:
      return WriteRS485DCDBRecords(gMainState, RS485Line1, 0, 7);
    case RS232:
      return WriteRS232DCDBRecords(gMainState, RS232Line1, 0, 7, "SITE01", "GW0001");
    default:
      return WriteSNMPDCDBRecords(gMainState, SNMPLine1, 1, 7, "SITE01", "GW0001");
  }
}

int StoreTest::ReadLast(SourceKind kind) {
  using Reader = int (*)(DataCollectorMainStructure&, std::uint16_t&);
  static constexpr std::array<Reader, kSourceKinds> kReaders = {
      ReadLastAIORecordID,   ReadLastDIORecordID,   ReadLastTemperatureRecordID,
      ReadLastRS485RecordID, ReadLastRS232RecordID, ReadLastSNMPRecordID};
  return kReaders[kind](gMainState, Number(kind));
}

int StoreTest::Update(SourceKind kind) {
  using Updater = int (*)(DataCollectorMainStructure&);
  static constexpr std::array<Updater, kSourceKinds> kUpdaters = {
      UpdateAIDBRecord,    UpdateDIODBRecord,   UpdateTemperatureDBRecord,
      UpdateRS485DBRecord, UpdateRS232DBRecord, UpdateSNMPDBRecord};
  return kUpdaters[kind](gMainState);
}

int StoreTest::ReadUnsent(SourceKind kind, RecordHandOver& handOver) {
  using Reader = std::int32_t (*)(DataCollectorMainStructure&, RecordHandOver&);
  static constexpr std::array<Reader, kSourceKinds> kReaders = {
      ReadAIDCDBRecordAndPublish,    ReadDIODCDBRecordAndPublish,   ReadTemperatureDCDBRecordAndPublish,
      ReadRS485DCDBRecordAndPublish, ReadRS232DCDBRecordAndPublish, ReadSNMPDCDBRecordAndPublish};
  return kReaders[kind](gMainState, handOver);
}

void StoreTest::Store(SourceKind kind, int records) {
  const int result = Silently([&] {
    int last = 0;
    for (int record = 0; record < records && last == 0; ++record) {
      last = Write(kind);
    }
    return last;
  });
  ASSERT_EQ(result, 0);
}

std::vector<int> StoreTest::Numbers(SourceKind kind) {
  std::vector<int> numbers;
  for (const auto& row : Select(kind, "RecordNumber", "ORDER BY rowid")) {
    numbers.push_back(std::stoi(row[0]));
  }
  return numbers;
}

Rows StoreTest::Select(SourceKind kind, const std::string& columns, const std::string& rest) {
  return Query(Path(kind), "SELECT " + columns + " FROM " + Table(kind) + " " + rest);
}

}  // namespace datacollector
