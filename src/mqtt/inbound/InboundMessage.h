// An inbound message as the branches of the dispatch see it, and the topics that select them.
#pragma once

#include <cstddef>
#include <string_view>

#include "ground/FixedText.h"
#include "ground/MainState.h"

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

// Reports on standard error that a text of a kind was cut to `kept` bytes.
void ReportCutText(const char* word, std::size_t length, std::size_t kept);

// Copies a text of a message into its buffer; what does not fit is cut off and reported under the kind's
// word.
template <std::size_t N>
void TakeText(FixedText<N>& buffer, std::string_view text, const char* word) {
  if (!buffer.Assign(text)) {
    ReportCutText(word, text.size(), N);
  }
}

}  // namespace datacollector
