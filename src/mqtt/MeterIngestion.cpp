#include "mqtt/MeterIngestion.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "app/ground/FileLogger.h"
#include "app/ground/Flags.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"
#include "mqtt/Ingestion.h"
#include "mqtt/PayloadFields.h"
#include "mqtt/RequestIds.h"
#include "store/WriteRecord.h"

namespace datacollector {
namespace {

// One inbound record, taken apart. `line` and `meter` are counted from 1, as the payload counts them.
struct MeterRecord {
  FixedText<3999> text;  // the payload without the meter index: what is stored
  std::int32_t meter;
  std::int32_t requestId;
  std::int32_t line;
};

// Who sent an RS-232 or SNMP record: taken from the record, and part of its stored data as well.
struct SourceIdentity {
  FixedText<511> siteId;
  FixedText<511> deviceId;
};

using WriteSlot = int (*)(const MeterRecord& record);

struct MeterBranch {
  SourceKind kind;
  std::array<TopicEntry, 3> records;
  TopicEntry alarm;
  bool setsReadTime;  // RS-485 and RS-232 packing sets it once more, so RS-232 does not bother here
  std::size_t requestIdPlace;
  std::size_t linePlace;
  std::size_t storedLines;
  const char* indexMessage;
  std::array<const char*, kRs485StoredLines> lineMessages;  // per line
  const char* completedMessage;
  const char* successMessage;  // %d: line, where it names one
  const char* failureMessage;
  const char* outMessage;
  WriteSlot write;
  void (*resetRequestIds)(std::size_t line);
};

int WriteRs485(const MeterRecord& record) {
  return WriteRS485DCDBRecords(gMainState, static_cast<std::size_t>(record.line - 1),
                               static_cast<std::size_t>(record.meter - 1), record.requestId);
}

SourceIdentity IdentityOf(const MeterRecord& record, SourceKind kind) {
  SourceIdentity identity{};
  PayloadFields fields(record.text.view());
  CopyText(identity.siteId, WithoutQuotes(fields.Next().value_or("")), kKindWord[kind]);
  CopyText(identity.deviceId, WithoutQuotes(fields.Next().value_or("")), kKindWord[kind]);
  return identity;
}

int WriteRs232(const MeterRecord& record) {
  const SourceIdentity identity = IdentityOf(record, RS232);
  Print("i32_RS232_MeterID : %d\n", record.meter);
  Print("i32_ParsedReqId : %d\n", record.requestId);
  Print("SiteID : %s\n", identity.siteId.c_str());
  Print("DeviceID : %s\n", identity.deviceId.c_str());
  return WriteRS232DCDBRecords(gMainState, static_cast<std::size_t>(record.line - 1),
                               static_cast<std::size_t>(record.meter - 1), record.requestId,
                               identity.siteId.c_str(), identity.deviceId.c_str());
}

// The SNMP writer counts its devices from 1, unlike the two meter kinds.
int WriteSnmp(const MeterRecord& record) {
  const SourceIdentity identity = IdentityOf(record, SNMP);
  return WriteSNMPDCDBRecords(gMainState, static_cast<std::size_t>(record.line - 1),
                              static_cast<std::size_t>(record.meter), record.requestId,
                              identity.siteId.c_str(), identity.deviceId.c_str());
}

#define INSERT_COMPLETED(words)                 \
  "#####################################" words \
  "Insert Data completed. Start Sending Data to HTTP server#########################################"

// An SNMP alarm has a topic entry of its own but enters only on the record entry: it is recognised where the
// configuration gives both entries the same text.
constexpr std::array<MeterBranch, 3> kBranches = {{
    {
        .kind = RS485,
        .records = {kRs485Record, kTemperatureOrRs485Record, kRs485Alarm},
        .alarm = kRs485Alarm,
        .setsReadTime = true,
        .requestIdPlace = 3,
        .linePlace = 4,
        .storedLines = kRs485StoredLines,
        .indexMessage = "Parsed Meter Index : %d\n",
        .lineMessages = {"Inside if i32_RS485LineID1 ", "Inside if i32_RS485LineID2"},
        .completedMessage = INSERT_COMPLETED(""),
        .successMessage = "Success: EMeter RS485 Line %d Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write RS485 Line %d Database\n",
        .outMessage = "Out of RS 485 Subscription",
        .write = WriteRs485,
        .resetRequestIds = ResetRS485ReqId,
    },
    {
        .kind = RS232,
        .records = {kRs232Record, kNoTopic, kNoTopic},
        .alarm = kNoTopic,
        .setsReadTime = false,
        .requestIdPlace = 4,
        .linePlace = 5,
        .storedLines = kRs232Lines,
        .indexMessage = "Parsed RS232 Meter Index : %d\n",
        .lineMessages = {"Inside if i32_RS232LineID "},
        .completedMessage = INSERT_COMPLETED("RS232 "),
        .successMessage = "Success: EMeter RS232 Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write RS232 Database\n",
        .outMessage = "Out of RS 232 Subscription",
        .write = WriteRs232,
        .resetRequestIds = ResetRS232ReqId,
    },
    {
        .kind = SNMP,
        .records = {kSnmpRecord, kNoTopic, kNoTopic},
        .alarm = kSnmpAlarm,
        .setsReadTime = true,
        .requestIdPlace = 3,
        .linePlace = 4,
        .storedLines = kSnmpLines,
        .indexMessage = "Parsed Meter Index : %d\n",
        .lineMessages = {"Inside if i32_SNMPLineID1 "},
        .completedMessage = INSERT_COMPLETED(""),
        .successMessage = "Success: EMeter SNMP Line %d Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write SNMP Line %d Database\n",
        .outMessage = "Out of SNMP Subscription",
        .write = WriteSnmp,
        .resetRequestIds = ResetSNMPReqId,
    },
}};
#undef INSERT_COMPLETED

MeterRecordText& SlotOf(SourceKind kind, std::size_t line, std::size_t meter) {
  DataCollectorDBData& data = gMainState.DataCollectorDBData;
  return kind == RS485   ? data.i8_RS485Record[line][meter]
         : kind == RS232 ? data.i8_RS232Line1Record[meter]
                         : data.i8_SNMPLine1Record[meter];
}

// Whether the kind takes part, with the lines that the RS-232 test prints for every message.
bool TestEnabled(SourceKind kind) {
  const DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  if (kind != RS232) {
    return IsSourceEnabled(sources, kind);
  }
  Print(
      "DataCollectorMainStructure.DataCollectorSourcesConfig.i32_DataSourcesRS232EnableFlags[RS232Line1][0] "
      ": %d\n",
      sources.i32_DataSourcesRS232EnableFlags[RS232Line1][0]);
  const bool enabled = IsLineEnabled(sources, RS232, RS232Line1);
  if (enabled) {
    PrintLine("RS232 Enabled");
  }
  return enabled;
}

bool IsSelectedBy(const MeterBranch& branch, const InboundMessage& message) {
  return std::ranges::any_of(branch.records, [&](TopicEntry entry) { return IsOnTopic(message, entry); });
}

void SetReadTime(const MeterBranch& branch) {
  if (!branch.setsReadTime) {
    return;
  }
  TimeStampText& readTime = gMainState.DataCollectorDBData.i8_ReadTimeStamp[branch.kind];
  GetReadTimeStamp(readTime, gMainState.ui16_DCDBReadTimeStampInSecSinceEpoch);
  Print("DataCollectorMainStructure.DataCollectorDBData.i8_%sReadTimeStamp = %s\n", kKindWord[branch.kind],
        readTime.c_str());
}

// Takes the payload apart: meter index, then request id and line id from what follows it.
void Parse(const MeterBranch& branch, std::string_view payload, MeterRecord& record) {
  FixedText<3999> whole{};
  CopyText(whole, payload, kKindWord[branch.kind]);
  Print("i8_TempPayload_str on message: %s\n", whole.c_str());
  PayloadFields fields(whole.view());
  record.meter = fields.NextNumber();
  record.text.Assign(fields.Rest());
  Print(branch.indexMessage, record.meter);
  Print("i8_temp : %s\n", record.text.c_str());
  Print("i8_TempPayload after removing meter index : %s\n", record.text.c_str());
  record.requestId = NumberAt(record.text.view(), branch.requestIdPlace);
  record.line = NumberAt(record.text.view(), branch.linePlace);
  Print("Parsed i32_%sLineID : %d\n", kKindWord[branch.kind], record.line);
  Print("Before if i32_%sLineID \n", kKindWord[branch.kind]);
}

void MarkReceived(SourceKind kind, std::size_t meter, std::size_t line) {
  ByteFlag& received = RecordFlags.At(kind, meter, line);
  received = 1;
  Print("RecordFlags.gui8_%sRecordsFlag[%zu][%sLine%zu]=%d\n", kKindWord[kind], meter, kKindWord[kind],
        line + 1, received.load());
}

void FillSlot(SourceKind kind, std::size_t meter, std::size_t line, std::string_view text) {
  const char* word = kKindWord[kind];
  MeterRecordText& slot = SlotOf(kind, line, meter);
  CopyText(slot, text, word);
  Print("i8_%sRecord Line%zuNo = |%s|\n", word, line + 1, slot.c_str());
  Print("i8_%sRecord Length = <%zu>\n", word, slot.view().size());
}

// Unlike the I/O kinds, a meter's period counts as served only while one of its windows is open.
void MarkPeriodicRecordWritten(SourceKind kind, std::size_t meter, std::size_t line) {
  PeriodicWindow& window = DBWriteFlags.At(kind, meter, line);
  if (window.gui8_WriteRecordsAfterPeriodicMinute != 1 && window.gui8_WriteRecordsWithinPeriodicMinute != 1) {
    return;
  }
  window.gui8_PeriodicRecordsWritten = 1;
  window.gui8_WriteRecordsWithinPeriodicMinute = 0;
  window.gui8_WriteRecordsAfterPeriodicMinute = 0;
  Print(
      "\n\n*******************DBWriteFlags.gui8_%sPeriodicRecordsWritten[%zu][%sLine%zu]=%d "
      "^^^^*******************n\n",
      kKindWord[kind], meter, kKindWord[kind], line + 1, window.gui8_PeriodicRecordsWritten.load());
}

void Store(const MeterBranch& branch, const MeterRecord& record) {
  const SourceKind kind = branch.kind;
  const auto line = static_cast<std::size_t>(record.line - 1);
  const auto meter = static_cast<std::size_t>(record.meter - 1);
  PrintLine(branch.lineMessages[line]);
  MarkReceived(kind, meter, line);
  FillSlot(kind, meter, line, record.text.view());
  MarkPeriodicRecordWritten(kind, meter, line);
  Print("Writing %s Line %d meter Data in Database Start#############################\n", kKindWord[kind],
        record.line);
  if (branch.write(record) != 0) {
    Print(branch.failureMessage, record.line);
    return;
  }
  RecordFlags.At(kind, meter, line) = 0;
  Print(branch.successMessage, record.line);
  branch.resetRequestIds(line);
}

bool IsMeterInTable(const MeterBranch& branch, std::int32_t meter) {
  const std::size_t meters = SizeOfMeterTable(branch.kind).meters;
  if (meter >= 1 && static_cast<std::size_t>(meter) <= meters) {
    return true;
  }
  const char* word = kKindWord[branch.kind];
  PrintError("%s record refused: meter index %d is not one of 1 to %zu\n", word, meter, meters);
  WriteLog("%s record refused: meter index %d is not one of 1 to %zu", word, meter, meters);
  return false;
}

// Stores the record in the slot of its meter and line. A record that has no slot leaves no trace behind: its
// alarm flag would mark the next record of the kind.
void StoreInSlot(const MeterBranch& branch, const MeterRecord& record) {
  const bool lineIsStored = record.line >= 1 && static_cast<std::size_t>(record.line) <= branch.storedLines;
  if (IsMeterInTable(branch, record.meter) && lineIsStored) {
    Store(branch, record);
  } else {
    gMainState.i32_AlarmFlag[branch.kind] = 0;
  }
}

void RunBranch(const MeterBranch& branch, const InboundMessage& message) {
  if (!TestEnabled(branch.kind) || !IsSelectedBy(branch, message)) {
    return;
  }
  if (IsOnTopic(message, branch.alarm)) {
    gMainState.i32_AlarmFlag[branch.kind] = 1;
  }
  Print(
      " \n ************************** Entered %s On Message Call Back "
      "***********************************\n",
      kKindWord[branch.kind]);
  PrintLine(
      "#####################################Need to Insert Data. Stop Sending Data to HTTP "
      "server#########################################");
  gi32_HTTPThreadSendFlag = 0;
  SetReadTime(branch);
  PrintCurrentMinute();
  MeterRecord record{};
  Parse(branch, message.payload, record);
  StoreInSlot(branch, record);
  PrintLine("Writing meter Data in Database End#############################");
  PrintLine(branch.completedMessage);
  gi32_HTTPThreadSendFlag = 1;
  PrintLine(branch.outMessage);
}

}  // namespace

void IngestMeterRecord(const InboundMessage& message) {
  for (const MeterBranch& branch : kBranches) {
    RunBranch(branch, message);
  }
}

}  // namespace datacollector
