// Handing one record to the HTTP Send App so that its confirmation finds everything in place.
#pragma once

#include <cstdint>

#include "ground/Flags.h"
#include "ground/GenericFunctions.h"
#include "mqtt/client/ClientConfig.h"
#include "store/ReadRecords.h"

namespace datacollector {

// Announces a record in the kind's flags before its packet leaves, because a confirmation may be back within
// a millisecond and compares, sets or starts from them. Forwarding thread.
class HandOver final : public RecordHandOver {
 public:
  HandOver(SourceKind kind, ClientConfig& cfg, double releaseTime);

  void Announce(std::int32_t recordNumber) override;
  bool Publish(const char* topic, const char* packet) override;
  void Withdraw() override;
  void Recall() override;

  // The clock at the announcement: the time of the sending.
  const ClockReading& SentAt() const { return sentAt_; }

  // The release time as it stood before the kind was looked at.
  double ReleaseTimeBefore() const { return releaseTime_; }

 private:
  // What the announcement replaced.
  struct Before {
    std::uint32_t sentTime;
    std::int32_t sentNumber;
    std::uint32_t word;
    std::int32_t gate;
  };

  void TakeBackAnnouncement();
  void TakeBackClosing();

  SourceKind kind_;
  ClientConfig& cfg_;
  double releaseTime_;
  KindSendFlags& flags_;
  ClockReading sentAt_{};
  std::int32_t recordNumber_ = 0;
  Before before_{};
};

}  // namespace datacollector
