#include "mqtt/inbound/InboundMessage.h"

#include "ground/Trace.h"

namespace datacollector {

bool IsOnTopic(const InboundMessage& message, std::size_t entry) {
  return entry < kTopicSlots &&
         message.topic == gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[entry].view();
}

void ReportCutText(const char* word, std::size_t length, std::size_t kept) {
  PrintError("%s text of %zu bytes is cut to the %zu bytes that its buffer holds\n", word, length, kept);
}

}  // namespace datacollector
