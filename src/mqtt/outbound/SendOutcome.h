// What a call of a sender has come to.
#pragma once

#include <cstdint>

namespace datacollector {

enum class SendOutcome : std::uint8_t {
  HeldBack,    // the WAN is down, or the kind's gate closed: the table was not looked at
  NoneLeft,    // nothing that is not sent
  HandedOver,  // also an I/O kind's packet that was refused, which counts as sent
  Failed,
};

}  // namespace datacollector
