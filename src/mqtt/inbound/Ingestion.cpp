#include "mqtt/inbound/Ingestion.h"

#include <array>
#include <cstdint>

#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/inbound/PayloadFields.h"
#include "mqtt/inbound/RepeatedRecords.h"
#include "mqtt/inbound/RequestIds.h"
#include "store/WriteRecord.h"

namespace datacollector {
namespace {

constexpr std::size_t kRequestIdPlace = 4;

// No GPIO is driven while a record is stored; the line stays for those who watch for it.
constexpr int kNoGpio = -1;

struct IoBranch {
  SourceKind kind;
  std::array<TopicEntry, 2> records;
  TopicEntry alarm;
  bool gpioLineBefore;  // behind the line that stops the sending
  bool gpioLineAfter;   // behind the line that starts it again
};

// A temperature alarm has a topic entry of its own but enters only on the record entries: it is recognised
// where the configuration gives the alarm entry the text of a record entry.
constexpr auto kIoBranches = IoKindTable<IoBranch>({
    // clang-format off
    // kind      record topics                                      alarm topic        GPIO line before, after
    {AIO,         {kAioRecord, kAioAlarm},                           kAioAlarm,         true,  false},
    {DIO,         {kDioRecord, kDioAlarm},                           kDioAlarm,         true,  true},
    {TEMPERATURE, {kTemperatureRecord, kTemperatureOrRs485Record},   kTemperatureAlarm, false, false},
    // clang-format on
});

bool IsEnabled(SourceKind kind) { return IsSourceEnabled(gMainState.DataCollectorSourcesConfig, kind); }

// Takes the record over: its text, its request id and its read time, which is the time of arrival.
void ReceiveRecord(const IoBranch& branch, std::string_view payload) {
  const char* word = kKindWord[branch.kind];
  IoRecordText& record = gMainState.DataCollectorDBData.i8_IoRecord[branch.kind];
  TakeText(record, payload, word);
  Print("i8_%sRecord = |%s|\n", word, record.c_str());
  Print("i8_%sRecord Length = <%zu>\n", word, record.view().size());
  Print("i8_TempPayload = |%s|\n", record.c_str());
  gMainState.i32_ParsedReqId[branch.kind] = NumberAt(record.view(), kRequestIdPlace);

  RecordFlags.At(branch.kind) = 1;
  Print(
      "#####################################Need to Insert %s Data. Stop Sending Data to HTTP "
      "server#########################################\n",
      word);
  if (branch.gpioLineBefore) {
    Print("GPIO Toggle result : %d\n", kNoGpio);
  }
  gi32_HTTPThreadSendFlag = 0;

  TimeStampText& readTime = gMainState.DataCollectorDBData.i8_ReadTimeStamp[branch.kind];
  GetReadTimeStamp(readTime, gMainState.ui16_DCDBReadTimeStampInSecSinceEpoch);
  Print("DataCollectorMainStructure.DataCollectorDBData.i8_%sReadTimeStamp = %s\n", word, readTime.c_str());
}

// Closes the kind's periodic windows: its record of this period is there.
void MarkPeriodicRecordWritten(SourceKind kind) {
  PeriodicWindow& window = DBWriteFlags.At(kind);
  window.gui8_PeriodicRecordsWritten = 1;
  window.gui8_WriteRecordsWithinPeriodicMinute = 0;
  window.gui8_WriteRecordsAfterPeriodicMinute = 0;
  Print("\n\n ******************* DBWriteFlags.gui8_PeriodicRecordsWritten[%s]=%d ******************* \n\n",
        kKindIndexWord[kind], window.gui8_PeriodicRecordsWritten.load());
}

// Tells the forwarding thread that the kind has something to send.
void WantSending(SourceKind kind) {
  KindSendFlags& flags = CloudConnectSendFlags[kind];
  flags.gui8_NoDCDBRecordsToPublish = 0;
  if (flags.gui8_SendFirstCDBRecord == 0) {
    flags.gui8_SendFirstCDBRecord = 1;
  }
  flags.gui8_SendDCDBRecordFlags = 1;
  Print("gui8_SendFirstCDBRecord[%zu] = %d\n", static_cast<std::size_t>(kind),
        flags.gui8_SendFirstCDBRecord.load());
}

void StoreRecord(const IoBranch& branch) {
  const SourceKind kind = branch.kind;
  Print("***************Writing %s record in the %s table\n", kKindIndexWord[kind], kKindWord[kind]);
  MarkPeriodicRecordWritten(kind);
  if (WriteRecord(gMainState, kind,
                  {.requestId = gMainState.i32_ParsedReqId[kind], .mayBeStored = MayBeRepeated(kind)}) != 0) {
    Print("Failure: Fail to write %s Database\n", kKindIndexWord[kind]);
    CountRefused(kind);
  } else {
    RecordFlags.At(kind) = 0;
    CountStored(kind);
    Print("%s DataBase written Successfully\n", kKindWord[kind]);
    if (gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable == 0) {
      WantSending(kind);
    }
    ResetReqId(kind);
  }
  Print("Writing %s Data in Database End#############################\n", kKindWord[kind]);
  Print(
      "#####################################Insert %s Data completed. Start Sending Data to HTTP "
      "server#########################################\n",
      kKindWord[kind]);
  if (branch.gpioLineAfter) {
    Print("GPIO Toggle result : %d\n", kNoGpio);
  }
  gi32_HTTPThreadSendFlag = 1;
}

void RunBranch(const IoBranch& branch, const InboundMessage& message) {
  if (!IsEnabled(branch.kind) ||
      (!IsOnTopic(message, branch.records[0]) && !IsOnTopic(message, branch.records[1]))) {
    return;
  }
  Print(
      " \n ************************** Entered %s On Message Call Back "
      "***********************************\n",
      kKindIndexWord[branch.kind]);
  if (IsOnTopic(message, branch.alarm)) {
    const char* word = kKindWord[branch.kind];
    Print("%s alarm record received. Setting %s alarm flag\n", word, word);
    gMainState.i32_AlarmFlag[branch.kind] = 1;
  }
  PrintCurrentMinute();
  ReceiveRecord(branch, message.payload);
  if (IsEnabled(branch.kind)) {
    StoreRecord(branch);
  }
  // Of a record that was not stored: it would mark the next record of the kind.
  gMainState.i32_AlarmFlag[branch.kind] = 0;
}

}  // namespace

void PrintCurrentMinute() {
  TimeStampText minute{};
  GetMinutes(minute.characters.data(), minute.characters.size());
  Print("i8_ReadCurrentMinute = %s\n", minute.c_str());
  Print("ui8_CurrentMinute = %d\n", static_cast<std::uint8_t>(DecimalValue(minute.view())));
}

void IngestIoRecord(const InboundMessage& message) {
  for (const IoBranch& branch : kIoBranches) {
    RunBranch(branch, message);
  }
}

}  // namespace datacollector
