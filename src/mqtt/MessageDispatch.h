// The one handler of every inbound MQTT message.
#pragma once

#include <mosquitto.h>

#include <string_view>

#include "app/ground/MainState.h"

namespace datacollector {

// Positions in the subscribe topics whose meaning is fixed, counted from 0.
enum TopicEntry : std::size_t {
  kAioRecord = 0,
  kDioRecord = 1,
  kDioAlarm = 2,
  kAioAlarm = 3,
  kRs485Record = 4,
  kTemperatureOrRs485Record = 5,
  kTemperatureRecord = 6,
  kRs232Record = 7,
  kRs485Alarm = 8,
  kSnmpRecord = 9,
  kAioConfirmation = 10,
  kDioConfirmation = 11,
  kTemperatureConfirmation = 12,
  kRs485Confirmation = 13,
  kRs232Confirmation = 14,
  kTemperatureAlarm = 15,
  kSnmpConfirmation = 16,
  kSnmpAlarm = 19,
  kNoTopic = kTopicSlots,
};

// An inbound message as the branches see it; its texts belong to the dispatcher.
struct InboundMessage {
  std::string_view topic;
  std::string_view payload;
};

// Whether a message came on the topic that stands at a position; never for a position left empty.
bool IsOnTopic(const InboundMessage& message, std::size_t entry);

// Prints the message, keeps a copy of it in the client configuration `object` and runs every branch that its
// topic selects. MQTT network thread, one message at a time.
void on_message_callback(mosquitto* mosq, void* object, const mosquitto_message* message);

}  // namespace datacollector
