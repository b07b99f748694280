#include "mqtt/inbound/Confirmations.h"

#include <cstdint>
#include <optional>

#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/MainState.h"
#include "ground/StatusFile.h"
#include "ground/Trace.h"
#include "mqtt/inbound/PayloadFields.h"
#include "store/UpdateRecord.h"

namespace datacollector {
namespace {

// The gateway's activity indicator.
constexpr std::int32_t kActivityGpio = 42;

struct Confirmation {
  SourceKind kind;
  TopicEntry topic;

  // Names of the kind's flags as the messages show them.
  const char* lastSentName;
  const char* retryFlagName;
  const char* sendFlagName;
  const char* setTimeName;

  // Lines around the update; nullptr where the kind has none.
  const char* stopSendingLine;
  const char* startLine;
  bool drivesGpio;
  const char* readyLine;
  bool opensGate;  // the other kinds' gate is opened by the end of the dispatch alone
  const char* endLine;
  bool comparesNextTopic;
};

constexpr const char* kUpdateEnd =
    "#############################End : Update Record. #################################";

#define STOP_SENDING(word)                                \
  "################################### Update the " word  \
  "Database with current Status. Stop Sending to Server " \
  "################################################"

// The DIO row shows its retry flag under AIO's name and the RS-485 row its set time under DIO's, because
// scripts in the field look for these texts.
constexpr auto kConfirmations = KindTable<Confirmation>({
    {
        .kind = AIO,
        .topic = kAioConfirmation,
        .lastSentName = "gi32_LastSentDCDBRecordNum[AIO]",
        .retryFlagName = "gui8_SendDCDBRecordRetryFlags[AIO]",
        .sendFlagName = "gui8_SendDCDBRecordFlags[AIO]",
        .setTimeName = "gf64_SendAIDCDBRecordFlagSetTime",
        .stopSendingLine = nullptr,
        .startLine = nullptr,
        .drivesGpio = false,
        .readyLine = nullptr,
        .opensGate = false,
        .endLine = nullptr,
        .comparesNextTopic = false,
    },
    {
        .kind = DIO,
        .topic = kDioConfirmation,
        .lastSentName = "gi32_LastSentDCDBRecordNum[DIO]",
        .retryFlagName = "gui8_SendDCDBRecordRetryFlags[AIO]",
        .sendFlagName = "gui8_SendDCDBRecordFlags[DIO]",
        .setTimeName = "gf64_SendDIODCDBRecordFlagSetTime",
        .stopSendingLine = nullptr,
        .startLine = nullptr,
        .drivesGpio = false,
        .readyLine = "############################DIO record updated with status.Ready to send next DIO "
                     "record.#################################",
        .opensGate = true,
        .endLine = nullptr,
        .comparesNextTopic = false,
    },
    {
        .kind = TEMPERATURE,
        .topic = kTemperatureConfirmation,
        .lastSentName = "gi32_LastSentDCDBRecordNum[TEMPERATURE]",
        .retryFlagName = "gui8_SendDCDBRecordRetryFlags[TEMPERATURE]",
        .sendFlagName = "gui8_SendDCDBRecordFlags[TEMPERATURE]",
        .setTimeName = "gf64_SendTemperatureDCDBRecordFlagSetTime",
        .stopSendingLine = nullptr,
        .startLine = nullptr,
        .drivesGpio = false,
        .readyLine = "############################Temperature record updated with status.Ready to send next "
                     "Temeprature record.#################################",
        .opensGate = true,
        .endLine = nullptr,
        .comparesNextTopic = false,
    },
    {
        .kind = RS485,
        .topic = kRs485Confirmation,
        .lastSentName = "gi32_RS485LastSentDCDBRecordNum",
        .retryFlagName = "gui8_RS485SendDCDBRecordRetryFlags",
        .sendFlagName = "gui8_RS485SendDCDBRecordFlags",
        .setTimeName = "gf64_SendDIODCDBRecordFlagSetTime",
        .stopSendingLine = STOP_SENDING(""),
        .startLine = "#############################Start : Update Record.Publish data GPIO ON "
                     "#################################",
        .drivesGpio = true,
        .readyLine =
            " ###################### Record Updated. Start Sending records #########################",
        .opensGate = true,
        .endLine = "#############################End : Update Record.Publish data GPIO OFF "
                   "#################################",
        .comparesNextTopic = true,
    },
    {
        .kind = RS232,
        .topic = kRs232Confirmation,
        .lastSentName = "gi32_RS232LastSentDCDBRecordNum",
        .retryFlagName = "gui8_RS232SendDCDBRecordRetryFlags",
        .sendFlagName = "gui8_RS232SendDCDBRecordFlags",
        .setTimeName = "gf64_SendRS232DCDBRecordFlagSetTime",
        .stopSendingLine = STOP_SENDING("RS232 "),
        .startLine =
            "#############################Start : Update RS232 Record #################################",
        .drivesGpio = false,
        .readyLine =
            " ###################### RS232 Record Updated. Start Sending records #########################",
        .opensGate = true,
        .endLine = kUpdateEnd,
        .comparesNextTopic = true,
    },
    {
        .kind = SNMP,
        .topic = kSnmpConfirmation,
        .lastSentName = "gi32_SNMPLastSentDCDBRecordNum",
        .retryFlagName = "gui8_SNMPSendDCDBRecordRetryFlags",
        .sendFlagName = "gui8_SNMPSendDCDBRecordFlags",
        .setTimeName = "gf64_SendSNMPDCDBRecordFlagSetTime",
        .stopSendingLine = STOP_SENDING("SNMP "),
        .startLine =
            "#############################Start : Update SNMP Record #################################",
        .drivesGpio = false,
        .readyLine =
            " ###################### SNMP Record Updated. Start Sending records #########################",
        .opensGate = true,
        .endLine = kUpdateEnd,
        .comparesNextTopic = false,
    },
});
#undef STOP_SENDING

void PrintIfAny(const char* line) {
  if (line != nullptr) {
    PrintLine(line);
  }
}

void AnnounceUpdate(const Confirmation& row) {
  Print("\n\n ******************* Update record for %s received from HTTP Send App **************** \n",
        kKindWord[row.kind]);
  PrintIfAny(row.stopSendingLine);
  PrintIfAny(row.startLine);
  if (row.drivesGpio) {
    Print("GPIO Toggle result : %d\n", Toggle_GPIO(kActivityGpio, 1));
  }
}

// Fields 2 to 5: read time stamp, record number, status, time of the report. A missing one stays empty or 0.
void ParseUpdate(const Confirmation& row, std::string_view payload, DatabaseUpdate& update) {
  const char* word = kKindWord[row.kind];
  FixedText<499> text{};
  TakeText(text, payload, word);
  Print("parsed payload = |%s|\n", text.c_str());
  update = {};
  Print("%s Copied temp = %s\n", word, text.c_str());
  PayloadFields fields(text.view());
  fields.Next();
  TakeText(update.i8_RecordReadTimeStamp, fields.Next().value_or(""), word);
  update.i32_RecordNum = fields.NextNumber();
  update.i32_TxStatus = fields.NextNumber();
  TakeText(update.i8_TxTimeStamp, fields.Next().value_or(""), word);

#define MEMBER(name) "DataCollectorMainStructure.DataCollectorDBUpdate.DataCollector%sDBUpdate." name
  Print(MEMBER("i8_RecordReadTimeStamp = %s\n") MEMBER("i32_RecordNum = %d\n") MEMBER("i32_TxStatus = %d\n")
            MEMBER("i8_TxTimeStamp = %s\n"),
        word, update.i8_RecordReadTimeStamp.c_str(), word, update.i32_RecordNum, word, update.i32_TxStatus,
        word, update.i8_TxTimeStamp.c_str());
#undef MEMBER
}

// Whether the confirmation answers the record that was sent last, and no retry of it is pending; or nothing
// has been sent since the start. The number belongs to the word, which the caller has read before it.
bool Answers(const KindSendFlags& flags, std::uint32_t word, std::int32_t recordNumber) {
  const std::int32_t lastSent = flags.gi32_LastSentDCDBRecordNum;
  return (lastSent == recordNumber && (word & kRetryDue) == 0) || lastSent == 0;
}

// Releases the kind's next record if the confirmation answers its last one; whether it does. A record that is
// announced meanwhile is not released by the number before it. The order of the three stores and of the set
// time behind them is what the forwarding thread relies on.
bool Release(const Confirmation& row, std::int32_t recordNumber) {
  KindSendFlags& flags = CloudConnectSendFlags[row.kind];
  const std::optional<std::uint32_t> judgedOn =
      flags.word.SetIf([&](std::uint32_t word) { return Answers(flags, word, recordNumber); }, kSendUnsent);
  if (!judgedOn) {
    return false;
  }
  flags.gui8_NoDCDBRecordsToPublish = 0;
  flags.word.SetSince(*judgedOn, kSendWanted);
  Print("setting in data sent, CloudConnectSendFlags.%s = %d\n", row.sendFlagName,
        flags.gui8_SendDCDBRecordFlags.load());
  const timespec now = ReadMonotonicClock("on_message_callback");
  flags.gf64_SendDCDBRecordFlagSetTime.Set(now.tv_sec, static_cast<std::int32_t>(now.tv_nsec));
  Print("%s = %f\n", row.setTimeName, flags.gf64_SendDCDBRecordFlagSetTime.Seconds());
  return true;
}

void OpenGate(const Confirmation& row, const InboundMessage& message) {
  PrintIfAny(row.readyLine);
  if (row.opensGate) {
    gi32_HTTPThreadSendFlag = kGateOpen;
  }
  PrintIfAny(row.endLine);
  if (row.comparesNextTopic) {
    Print("DataCollectorMainStructure.DataCollectorMqttTopics.i8_SubscribeTopics[14] : %d\n",
          IsOnTopic(message, kRs232Confirmation) ? 0 : 1);
  }
}

void Apply(const Confirmation& row, const InboundMessage& message) {
  if (!IsOnTopic(message, row.topic)) {
    return;
  }
  const char* function = kKindFunctionWord[row.kind];
  const char* word = kKindWord[row.kind];
  const KindSendFlags& flags = CloudConnectSendFlags[row.kind];
  DatabaseUpdate& update = gMainState.DataCollectorDBUpdate[row.kind];
  AnnounceUpdate(row);
  ParseUpdate(row, message.payload, update);
  if (UpdateRecord(gMainState, row.kind) != 0) {
    Print("Failure: Update%sDBRecord, record not updated, RecordNumber=%d, TxStatus and TxTimestamp\n",
          function, update.i32_RecordNum);
    return;
  }
  CountConfirmed(row.kind);
  Print("Success: Update%sDBRecord, record updated, RecordNumber = %d, TxStatus and TxTimestamp \n", function,
        update.i32_RecordNum);
  Print(
      "%s = %d, psDataCollectorMainStructure->DataCollectorDBUpdate.DataCollector%sDBUpdate.i32_RecordNum = "
      "%d, "
      "CloudConnectSendFlags.%s = %d\n",
      row.lastSentName, flags.gi32_LastSentDCDBRecordNum.load(), word, update.i32_RecordNum,
      row.retryFlagName, flags.gui8_SendDCDBRecordRetryFlags.load());
  if (Release(row, update.i32_RecordNum)) {
    OpenGate(row, message);
  }
}

}  // namespace

void ApplyConfirmation(const InboundMessage& message) {
  for (const Confirmation& row : kConfirmations) {
    Apply(row, message);
  }
}

}  // namespace datacollector
