// Storing of records that the I/O module and the temperature inputs publish.
#pragma once

#include <cstddef>
#include <string_view>

#include "app/ground/FixedText.h"
#include "mqtt/MessageDispatch.h"

namespace datacollector {

// Runs the branches of AIO, DIO and TEMPERATURE that the message's topic selects. MQTT network thread.
void IngestIoRecord(const InboundMessage& message);

// Prints the current minute; nothing depends on it.
void PrintCurrentMinute();

// Copies a payload into its buffer; what does not fit is cut off and reported on standard error.
template <std::size_t N>
void CopyPayload(FixedText<N>& buffer, std::string_view payload, const char* word);

// Reports that a payload of a kind was cut to `kept` bytes.
void ReportCutPayload(const char* word, std::size_t length, std::size_t kept);

template <std::size_t N>
void CopyPayload(FixedText<N>& buffer, std::string_view payload, const char* word) {
  if (!buffer.Assign(payload)) {
    ReportCutPayload(word, payload.size(), N);
  }
}

}  // namespace datacollector
