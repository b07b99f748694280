#include "mqtt/inbound/MeterIngestion.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/Notices.h"
#include "ground/RoundBell.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/inbound/Ingestion.h"
#include "mqtt/inbound/PayloadFields.h"
#include "mqtt/inbound/RepeatedRecords.h"
#include "mqtt/inbound/RequestIds.h"
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

struct MeterBranch {
  SourceKind kind;
  std::array<TopicEntry, 3> records;
  TopicEntry alarm;
  bool setsReadTime;  // RS-485 and RS-232 packing sets it once more, so RS-232 does not bother here
  std::size_t requestIdPlace;
  std::size_t linePlace;
  const char* indexMessage;
  std::array<const char*, 2> lineMessages;  // per stored line
  const char* completedMessage;
  const char* successMessage;  // %d: line, where it names one
  const char* failureMessage;
  const char* outMessage;
  bool namesItsSource;       // site and device id are the record's own first fields
  bool printsOrigin;         // before the record is written
  std::int32_t firstDevice;  // what the writer calls the first meter: SNMP devices are counted from 1
};

#define INSERT_COMPLETED(words)                 \
  "#####################################" words \
  "Insert Data completed. Start Sending Data to HTTP server#########################################"

// An SNMP alarm has a topic entry of its own but enters only on the record entry: it is recognised where the
// configuration gives both entries the same text.
constexpr auto kMeterBranches = MeterKindTable<MeterBranch>({
    {
        .kind = RS485,
        .records = {kRs485Record, kTemperatureOrRs485Record, kRs485Alarm},
        .alarm = kRs485Alarm,
        .setsReadTime = true,
        .requestIdPlace = 3,
        .linePlace = 4,
        .indexMessage = "Parsed Meter Index : %d\n",
        .lineMessages = {"Inside if i32_RS485LineID1 ", "Inside if i32_RS485LineID2"},
        .completedMessage = INSERT_COMPLETED(""),
        .successMessage = "Success: EMeter RS485 Line %d Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write RS485 Line %d Database\n",
        .outMessage = "Out of RS 485 Subscription",
        .namesItsSource = false,
        .printsOrigin = false,
        .firstDevice = 0,
    },
    {
        .kind = RS232,
        .records = {kRs232Record, kNoTopic, kNoTopic},
        .alarm = kNoTopic,
        .setsReadTime = false,
        .requestIdPlace = 4,
        .linePlace = 5,
        .indexMessage = "Parsed RS232 Meter Index : %d\n",
        .lineMessages = {"Inside if i32_RS232LineID "},
        .completedMessage = INSERT_COMPLETED("RS232 "),
        .successMessage = "Success: EMeter RS232 Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write RS232 Database\n",
        .outMessage = "Out of RS 232 Subscription",
        .namesItsSource = true,
        .printsOrigin = true,
        .firstDevice = 0,
    },
    {
        .kind = SNMP,
        .records = {kSnmpRecord, kNoTopic, kNoTopic},
        .alarm = kSnmpAlarm,
        .setsReadTime = true,
        .requestIdPlace = 3,
        .linePlace = 4,
        .indexMessage = "Parsed Meter Index : %d\n",
        .lineMessages = {"Inside if i32_SNMPLineID1 "},
        .completedMessage = INSERT_COMPLETED(""),
        .successMessage = "Success: EMeter SNMP Line %d Database Written Successfully\n",
        .failureMessage = "Failure: Fail to write SNMP Line %d Database\n",
        .outMessage = "Out of SNMP Subscription",
        .namesItsSource = true,
        .printsOrigin = false,
        .firstDevice = 1,
    },
});
#undef INSERT_COMPLETED

static_assert(std::all_of(kMeterBranches.begin(), kMeterBranches.end(), [](const MeterBranch& branch) {
  const std::size_t lines = kKinds[branch.kind].storedLines;
  return lines <= branch.lineMessages.size() && branch.lineMessages[lines - 1] != nullptr;
}));

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
  TakeText(whole, payload, kKindWord[branch.kind]);
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
  MeterRecordText& slot = gMainState.DataCollectorDBData.i8_MeterRecord.At(kind, meter, line);
  TakeText(slot, text, word);
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

SourceIdentity IdentityOf(const MeterBranch& branch, const MeterRecord& record) {
  SourceIdentity identity{};
  if (branch.namesItsSource) {
    PayloadFields fields(record.text.view());
    TakeText(identity.siteId, WithoutQuotes(fields.Next().value_or("")), kKindWord[branch.kind]);
    TakeText(identity.deviceId, WithoutQuotes(fields.Next().value_or("")), kKindWord[branch.kind]);
  }
  return identity;
}

int Write(const MeterBranch& branch, const MeterRecord& record) {
  const SourceIdentity identity = IdentityOf(branch, record);
  if (branch.printsOrigin) {
    Print("i32_%s_MeterID : %d\n", kKindWord[branch.kind], record.meter);
    Print("i32_ParsedReqId : %d\n", record.requestId);
    Print("SiteID : %s\n", identity.siteId.c_str());
    Print("DeviceID : %s\n", identity.deviceId.c_str());
  }
  return WriteRecord(gMainState, branch.kind,
                     {.line = static_cast<std::size_t>(record.line - 1),
                      .meter = static_cast<std::size_t>(record.meter - 1 + branch.firstDevice),
                      .requestId = record.requestId,
                      .siteId = identity.siteId.c_str(),
                      .deviceId = identity.deviceId.c_str(),
                      .mayBeStored = MayBeRepeated(branch.kind)});
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
  if (Write(branch, record) != 0) {
    Print(branch.failureMessage, record.line);
    CountRefused(kind);
    return;
  }
  RecordFlags.At(kind, meter, line) = 0;
  CountStored(kind);
  WantFastRound(kind);
  Print(branch.successMessage, record.line);
  ResetRequestIds(kind, line);
}

bool IsMeterInTable(const MeterBranch& branch, std::int32_t meter) {
  const std::size_t meters = kKinds[branch.kind].meters;
  if (meter >= 1 && static_cast<std::size_t>(meter) <= meters) {
    return true;
  }
  const char* word = kKindWord[branch.kind];
  PrintError("%s record refused: meter index %d is not one of 1 to %zu\n", word, meter, meters);
  WriteLog("%s record refused: meter index %d is not one of 1 to %zu", word, meter, meters);
  return false;
}

// A message on the topic entry that both kinds listen to, which the temperature branch has stored already.
bool IsTemperatureRecord(const InboundMessage& message) {
  return IsOnTopic(message, kTemperatureOrRs485Record) &&
         IsSourceEnabled(gMainState.DataCollectorSourcesConfig, TEMPERATURE);
}

void NameLost(SourceKind kind, const MeterRecord& record, bool meterIsInTable) {
  FixedText<79> reason{};
  MayBeRepeated(kind);  // a record like others: those that follow it are new
  if (meterIsInTable) {
    reason.Format("line %d is not one of 1 to %zu", record.line, kKinds[kind].storedLines);
  } else {
    reason.Format("meter index %d is not one of 1 to %zu", record.meter, kKinds[kind].meters);
  }
  CountRefused(kind);
  ReportLostRecord(kind, reason.c_str());
}

// Stores the record in the slot of its meter and line. A record that is not stored leaves no alarm flag
// behind: it would mark the next record of the kind.
void StoreInSlot(const MeterBranch& branch, const InboundMessage& message, const MeterRecord& record) {
  const bool lineIsStored =
      record.line >= 1 && static_cast<std::size_t>(record.line) <= kKinds[branch.kind].storedLines;
  const bool meterIsInTable = IsMeterInTable(branch, record.meter);
  if (meterIsInTable && lineIsStored) {
    Store(branch, record);
  } else if (!IsTemperatureRecord(message)) {
    NameLost(branch.kind, record, meterIsInTable);
  }
  gMainState.i32_AlarmFlag[branch.kind] = 0;
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
  StoreInSlot(branch, message, record);
  PrintLine("Writing meter Data in Database End#############################");
  PrintLine(branch.completedMessage);
  gi32_HTTPThreadSendFlag = 1;
  PrintLine(branch.outMessage);
}

}  // namespace

void IngestMeterRecord(const InboundMessage& message) {
  for (const MeterBranch& branch : kMeterBranches) {
    RunBranch(branch, message);
  }
}

}  // namespace datacollector
