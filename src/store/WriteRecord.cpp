#include "store/WriteRecord.h"

#include "ground/GenericFunctions.h"
#include "ground/KindTable.h"
#include "ground/Notices.h"
#include "ground/Trace.h"
#include "store/ReadLastRecordID.h"
#include "store/RingWriter.h"
#include "store/StoreAccess.h"

namespace datacollector {
namespace {

// All meter kinds name the RS-485 table where the count fails: what searches the log finds one text.
constexpr WriteLogs MeterLogs(const char* connect, const char* unableToDelete) {
  return {.connect = connect,
          .lastNumber = "LAST RECORD ID READ FROM TABLE %d\n",
          .retry = "retry after waiting",
          .missingTable = "no such table",
          .count = "can not get total number of records from RS485 table",
          .deletion = "can not delete a record from table",
          .unableToDelete = unableToDelete,
          .insertion = "can't insert record into table\n"};
}
constexpr WriteLogs kNoLogs = {};

// clang-format off
constexpr auto kWritings = KindTable<Writing>({
    {AIO, "WriteAIDCDBRecords", WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {DIO, "WriteDIODCDBRecords", WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {TEMPERATURE, "WriteTemperatureDCDBRecords", WaitUnit::Seconds, false, nullptr, nullptr, kNoLogs},
    {RS485, "WriteRS485DCDBRecords", WaitUnit::Milliseconds, true, nullptr, nullptr,
     MeterLogs("Can not connect database energymeter RS485", "Unable to delete a row from RS485 table")},
    {RS232, "WriteRS232DCDBRecords", WaitUnit::Milliseconds, true,
     "ui16_RS232MAXRecords = %d\n", "ui16_RS232DBRecordNumber = %d\n",
     MeterLogs("Can not connect database energymeter RS232", "Unable to delete a row from RS232 table")},
    {SNMP, "WriteSNMPDCDBRecords", WaitUnit::Milliseconds, true,
     "ui16_SNMPMAXRecords = %d\n", "ui16_SNMPDBRecordNumber = %d\n",
     MeterLogs("Can not connect database energymeter SNMP", "Unable to delete a row from SNMP table")},
});
// clang-format on

// Without a database or a table every statement fails as it would at any other time, and says so.
bool Store(DataCollectorMainStructure& main, const Writing& writing, const RecordOrigin& origin) {
  StoreAccess access(writing.kind, main.DataCollectorDBConfig[writing.kind].i8_DatabaseName.c_str());
  const Recovery recovery = RecoverForRecord(main, writing.kind, access, writing.unit);
  const bool stored = recovery != Recovery::Failed &&
                      RingWriter(main, writing, origin, access, recovery == Recovery::Done).Store();
  if (!stored) {
    ReportLostRecord(writing.kind, access.ErrorText());
  }
  return stored;
}

}  // namespace

int WriteRecord(DataCollectorMainStructure& main, SourceKind kind, const RecordOrigin& origin) {
  const Writing& writing = kWritings[kind];
  const FunctionTrace trace(writing.function);
  if (writing.keepsPublishTime) {
    GetTimeStamp(main.PublishTimeStamps.written[kind]);
  }
  const bool stored = Store(main, writing, origin);
  Print("Returning %s from function '%s'\n", stored ? "SUCCESS" : "FAILURE", writing.function);
  return stored ? 0 : -1;
}

int WriteAIDCDBRecords(DataCollectorMainStructure& main, std::int32_t requestId) {
  return WriteRecord(main, AIO, {.requestId = requestId});
}
int WriteDIODCDBRecords(DataCollectorMainStructure& main) { return WriteRecord(main, DIO, {}); }
int WriteTemperatureDCDBRecords(DataCollectorMainStructure& main) {
  return WriteRecord(main, TEMPERATURE, {});
}
int WriteRS485DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId) {
  return WriteRecord(main, RS485, {.line = line, .meter = meter, .requestId = requestId});
}
int WriteRS232DCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                          std::int32_t requestId, const char* siteId, const char* deviceId) {
  return WriteRecord(main, RS232, {line, meter, requestId, siteId, deviceId});
}
int WriteSNMPDCDBRecords(DataCollectorMainStructure& main, std::size_t line, std::size_t meter,
                         std::int32_t requestId, const char* siteId, const char* deviceId) {
  return WriteRecord(main, SNMP, {line, meter, requestId, siteId, deviceId});
}

}  // namespace datacollector
