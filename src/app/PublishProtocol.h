// Data requests: asking a source application, over the broker, to publish its data now. The main control loop
// issues none; the sources publish on schedules of their own. All run on the thread that asks, which must not
// publish at the same moment as the forwarding thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mqtt/client/ClientConfig.h"

namespace datacollector {

// What a request asks for.
enum RequestCode : std::int32_t {
  kRequestAnalog = 1,
  kRequestDigital = 2,
  kRequestRs485Line1 = 12,
  kRequestRs485Line2 = 13,
};

// Publishes "<,code,request number,>" on the topic of I/O requests. The outcome is reported on the trace
// only.
void publishAppDataRequest(ClientConfig& cfg, std::int32_t code, std::int32_t requestNumber);

// Publishes "<,code,request number,meter,line,>" on the topic of meter requests; meter and line count from 1.
void publishAppDataMultiRequest(ClientConfig& cfg, std::int32_t code, std::int32_t requestNumber,
                                std::size_t meterNumber, std::size_t lineNumber);

// Requests AIO (case 0) or DIO (case 1) data with the kind's next request number; a disabled kind is not
// asked.
void AppDataReq(ClientConfig& cfg, int requestCase);

// Requests data of the RS-485 meters on the enabled lines: mode 0 all, else only those whose request is
// pending. Sleeps the configured pause after each meter index.
void AppDataMultiReq(ClientConfig& cfg, int mode);

// Clears the bookkeeping of requests: which are published and which are pending.
void ResetAppDataReqFlags();

}  // namespace datacollector
