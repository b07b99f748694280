#include "mqtt/inbound/MessageDispatch.h"

#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "ground/RoundBell.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/Confirmations.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/Ingestion.h"
#include "mqtt/inbound/MeterIngestion.h"

namespace datacollector {
namespace {

const char* PayloadText(const mosquitto_message& message) {
  return message.payload == nullptr ? "" : static_cast<const char*>(message.payload);
}

std::string_view PayloadBytes(const mosquitto_message& message) {
  return {PayloadText(message), static_cast<std::size_t>(message.payloadlen)};
}

bool IsFilteredOut(const ClientConfig& cfg, const mosquitto_message& message) {
  if (message.retain && cfg.no_retain) {
    return true;
  }
  for (int index = 0; index < cfg.filter_out_count; ++index) {
    bool matches = false;
    mosquitto_topic_matches_sub(cfg.filter_outs[static_cast<std::size_t>(index)].get(), message.topic,
                                &matches);
    if (matches) {
      return true;
    }
  }
  return false;
}

void PrintPayload(const ClientConfig& cfg, const mosquitto_message& message) {
  if (message.payloadlen > 0) {
    if (cfg.verbose) {
      Print("%s ", message.topic);
    }
    PrintText(PayloadBytes(message));
    if (cfg.eol) {
      PrintText("\n");
    }
  } else if (cfg.verbose && cfg.eol) {
    Print("%s (null)\n", message.topic);
  }
}

void PrintMessage(const mosquitto_message& message) {
  Print("mid = <%d>\n", message.mid);
  Print("topic = <%s>\n", message.topic);
  Print("payload = <%.*s>\n", message.payloadlen, PayloadText(message));
  Print("payloadlen = <%d>\n", message.payloadlen);
  Print("qos = <%d>\n", message.qos);
  Print("retain = <%d>\n", message.retain ? 1 : 0);
}

void PrintCopy(const mosquitto_message& copy) {
  PrintLine("Success: mosquitto_message_copy");
  Print("Mid = <%d>\n", copy.mid);
  Print("Topic = <%s>\n", copy.topic);
  Print("Payload = <%.*s>\n", copy.payloadlen, PayloadText(copy));
  Print("Payloadlen = <%d>\n", copy.payloadlen);
  Print("Qos = <%d>\n", copy.qos);
  Print("Retain = <%d>\n", copy.retain ? 1 : 0);
}

void KeepCopy(ClientConfig& cfg, const mosquitto_message& message) {
  ReleaseLastMessage(cfg);
  if (!cfg.quiet) {
    PrintLine("Copy the contents of a mosquitto message to another message");
  }
  const int result = mosquitto_message_copy(&cfg.last_message, &message);
  if (result != MOSQ_ERR_SUCCESS) {
    cfg.last_message = {};  // the library may leave pointers there that it has freed already
  }
  if (cfg.quiet) {
    return;
  }
  switch (result) {
    case MOSQ_ERR_SUCCESS:
      PrintCopy(cfg.last_message);
      break;
    case MOSQ_ERR_INVAL:
      PrintError("Failure: input parameters were invalid\n");
      break;
    case MOSQ_ERR_NOMEM:
      PrintError("Failure: out of memory condition occurred\n");
      break;
    default:
      break;
  }
}

// Every branch in its fixed order; a message may satisfy several. While the customer's own software has the
// databases, confirmations are not looked at and the send gate is left alone.
void Dispatch(const InboundMessage& message) {
  IngestIoRecord(message);
  IngestMeterRecord(message);
  if (gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable != 0) {
    return;
  }
  ApplyConfirmation(message);
  TimeStampText publishTime{};
  GetTimeStamp(publishTime);
  Print("Publish Time Stamp Start: %s\n", publishTime.c_str());
  gi32_HTTPThreadSendFlag = kGateOpen;
  RingForRound();
}

void HandleMessage(ClientConfig& cfg, const mosquitto_message& message) {
  if (!cfg.quiet) {
    PrintLine("on_message_callback:");
  }
  if (IsFilteredOut(cfg, message)) {
    return;
  }
  PrintPayload(cfg, message);
  if (!cfg.quiet) {
    PrintMessage(message);
  }
  KeepCopy(cfg, message);
  Dispatch({message.topic, PayloadBytes(cfg.last_message)});
  PrintLine("Out of on msg call back ");
}

}  // namespace

void on_message_callback(mosquitto* /*mosq*/, void* object, const mosquitto_message* message) {
  HandleMessage(*static_cast<ClientConfig*>(object), *message);
  FlushTrace();
}

}  // namespace datacollector
