#include "mqtt/Confirmations.h"

#include <array>
#include <cstdint>

#include "app/ground/Flags.h"
#include "app/ground/GenericFunctions.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"
#include "mqtt/PayloadFields.h"
#include "store/UpdateRecord.h"

namespace datacollector {
namespace {

// The gateway's activity indicator.
constexpr std::int32_t kActivityGpio = 42;

struct ConfirmationBranch {
  SourceKind kind;
  TopicEntry topic;
  int (*update)(DataCollectorMainStructure& main);

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

// The DIO row shows its retry flag under AIO's name and the RS-485 row its set time under DIO's: the trace
// has always read so.
constexpr std::array<ConfirmationBranch, kSourceKinds> kBranches = {{
    {
        .kind = AIO,
        .topic = kAioConfirmation,
        .update = UpdateAIDBRecord,
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
        .update = UpdateDIODBRecord,
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
        .update = UpdateTemperatureDBRecord,
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
        .update = UpdateRS485DBRecord,
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
        .update = UpdateRS232DBRecord,
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
        .update = UpdateSNMPDBRecord,
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
}};
#undef STOP_SENDING

void PrintIfAny(const char* line) {
  if (line != nullptr) {
    PrintLine(line);
  }
}

void Open(const ConfirmationBranch& branch) {
  Print("\n\n ******************* Update record for %s received from HTTP Send App **************** \n",
        kKindWord[branch.kind]);
  PrintIfAny(branch.stopSendingLine);
  PrintIfAny(branch.startLine);
  if (branch.drivesGpio) {
    Print("GPIO Toggle result : %d\n", Toggle_GPIO(kActivityGpio, 1));
  }
}

// Fields 2 to 5: read time stamp, record number, status, time of the report. A missing one stays empty or 0.
void ParseUpdate(const ConfirmationBranch& branch, std::string_view payload, DatabaseUpdate& update) {
  const char* word = kKindWord[branch.kind];
  FixedText<499> text{};
  CopyText(text, payload, word);
  Print("parsed payload = |%s|\n", text.c_str());
  update = {};
  Print("%s Copied temp = %s\n", word, text.c_str());
  PayloadFields fields(text.view());
  fields.Next();
  CopyText(update.i8_RecordReadTimeStamp, fields.Next().value_or(""), word);
  update.i32_RecordNum = fields.NextNumber();
  update.i32_TxStatus = fields.NextNumber();
  CopyText(update.i8_TxTimeStamp, fields.Next().value_or(""), word);

#define MEMBER(name) "DataCollectorMainStructure.DataCollectorDBUpdate.DataCollector%sDBUpdate." name
  Print(MEMBER("i8_RecordReadTimeStamp = %s\n") MEMBER("i32_RecordNum = %d\n") MEMBER("i32_TxStatus = %d\n")
            MEMBER("i8_TxTimeStamp = %s\n"),
        word, update.i8_RecordReadTimeStamp.c_str(), word, update.i32_RecordNum, word, update.i32_TxStatus,
        word, update.i8_TxTimeStamp.c_str());
#undef MEMBER
}

// The confirmation answers the record that was sent last, and no retry of it is pending; or nothing has been
// sent since the start.
bool ReleasesNext(const KindSendFlags& flags, const DatabaseUpdate& update) {
  const std::int32_t lastSent = flags.gi32_LastSentDCDBRecordNum;
  return (lastSent == update.i32_RecordNum && flags.gui8_SendDCDBRecordRetryFlags == 0) || lastSent == 0;
}

// The order of the three stores and of the set time behind them is what the forwarding thread relies on.
void Release(const ConfirmationBranch& branch, KindSendFlags& flags) {
  flags.gui8_SendUnsentDCDBRecord = 1;
  flags.gui8_NoDCDBRecordsToPublish = 0;
  flags.gui8_SendDCDBRecordFlags = 1;
  Print("setting in data sent, CloudConnectSendFlags.%s = %d\n", branch.sendFlagName,
        flags.gui8_SendDCDBRecordFlags.load());
  const timespec now = ReadMonotonicClock("on_message_callback");
  flags.gf64_SendDCDBRecordFlagSetTime.Set(now.tv_sec, static_cast<std::int32_t>(now.tv_nsec));
  Print("%s = %f\n", branch.setTimeName, flags.gf64_SendDCDBRecordFlagSetTime.Seconds());
}

void Close(const ConfirmationBranch& branch, const InboundMessage& message) {
  PrintIfAny(branch.readyLine);
  if (branch.opensGate) {
    gi32_HTTPThreadSendFlag = 1;
  }
  PrintIfAny(branch.endLine);
  if (branch.comparesNextTopic) {
    Print("DataCollectorMainStructure.DataCollectorMqttTopics.i8_SubscribeTopics[14] : %d\n",
          IsOnTopic(message, kRs232Confirmation) ? 0 : 1);
  }
}

void RunBranch(const ConfirmationBranch& branch, const InboundMessage& message) {
  if (!IsOnTopic(message, branch.topic)) {
    return;
  }
  const char* function = kKindFunctionWord[branch.kind];
  const char* word = kKindWord[branch.kind];
  KindSendFlags& flags = CloudConnectSendFlags[branch.kind];
  DatabaseUpdate& update = gMainState.DataCollectorDBUpdate[branch.kind];
  Open(branch);
  ParseUpdate(branch, message.payload, update);
  if (branch.update(gMainState) != 0) {
    Print("Failure: Update%sDBRecord, record not updated, RecordNumber=%d, TxStatus and TxTimestamp\n",
          function, update.i32_RecordNum);
    return;
  }
  Print("Success: Update%sDBRecord, record updated, RecordNumber = %d, TxStatus and TxTimestamp \n", function,
        update.i32_RecordNum);
  Print(
      "%s = %d, psDataCollectorMainStructure->DataCollectorDBUpdate.DataCollector%sDBUpdate.i32_RecordNum = "
      "%d, "
      "CloudConnectSendFlags.%s = %d\n",
      branch.lastSentName, flags.gi32_LastSentDCDBRecordNum.load(), word, update.i32_RecordNum,
      branch.retryFlagName, flags.gui8_SendDCDBRecordRetryFlags.load());
  if (ReleasesNext(flags, update)) {
    Release(branch, flags);
    Close(branch, message);
  }
}

}  // namespace

void ApplyConfirmation(const InboundMessage& message) {
  for (const ConfirmationBranch& branch : kBranches) {
    RunBranch(branch, message);
  }
}

}  // namespace datacollector
