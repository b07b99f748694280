#include "mqtt/outbound/HandOver.h"

#include "ground/StatusFile.h"
#include "mqtt/client/ClientWrappers.h"

namespace datacollector {
namespace {

struct Consequences {
  SourceKind kind;
  bool closesGate;  // no kind sends again before a message has arrived
  bool takesBack;   // a refused packet leaves the kind as if nothing had been tried
};

constexpr auto kConsequences = KindTable<Consequences>({
    // kind, closes gate, takes back
    {AIO, false, false},
    {DIO, true, false},
    {TEMPERATURE, true, false},
    {RS485, true, true},
    {RS232, true, true},
    {SNMP, true, true},
});

constexpr std::int32_t kGateClosed = 0;

}  // namespace

HandOver::HandOver(SourceKind kind, ClientConfig& cfg, double releaseTime)
    : kind_(kind), cfg_(cfg), releaseTime_(releaseTime), flags_(CloudConnectSendFlags[kind]) {}

// The order is the one in which a confirmation and the retry timer may look: the time before the flags that
// the timer tests, the number before the flags that the confirmation sets.
void HandOver::Announce(std::int32_t recordNumber) {
  recordNumber_ = recordNumber;
  sentAt_ = TakeMonotonicClock();
  before_.sentTime =
      flags_.gui32_LastDCDBRecordSentTime.exchange(static_cast<std::uint32_t>(sentAt_.now.tv_sec));
  before_.sentNumber = flags_.gi32_LastSentDCDBRecordNum.exchange(recordNumber);
  before_.sendUnsent = flags_.gui8_SendUnsentDCDBRecord.exchange(0);
  before_.retry = flags_.gui8_SendDCDBRecordRetryFlags.exchange(0);
  before_.firstSent = flags_.gui8_FirstDCDBRecordSent.exchange(1);
  // A release since the caller looked stays in force, so that the next record goes at once.
  const bool released = flags_.gf64_SendDCDBRecordFlagSetTime.Seconds() != releaseTime_;
  before_.send =
      released ? flags_.gui8_SendDCDBRecordFlags.load() : flags_.gui8_SendDCDBRecordFlags.exchange(0);
  if (kConsequences[kind_].closesGate) {
    before_.gate = gi32_HTTPThreadSendFlag.exchange(kGateClosed);
  }
}

bool HandOver::Publish(const char* topic, const char* packet) {
  SetNextPublish(cfg_, topic, packet);
  if (Mosquitto_Publish(cfg_) != 0) {
    return false;
  }
  CountHandedOver(kind_, recordNumber_);
  return true;
}

// In the opposite order of the announcement. The gate may have been opened since by a message; then it stays
// open.
void HandOver::Withdraw() {
  const Consequences& consequences = kConsequences[kind_];
  if (consequences.closesGate) {
    std::int32_t closed = kGateClosed;
    gi32_HTTPThreadSendFlag.compare_exchange_strong(closed, before_.gate);
  }
  if (consequences.takesBack) {
    flags_.gui8_SendDCDBRecordFlags = before_.send;
    flags_.gui8_FirstDCDBRecordSent = before_.firstSent;
    flags_.gui8_SendDCDBRecordRetryFlags = before_.retry;
    flags_.gui8_SendUnsentDCDBRecord = before_.sendUnsent;
    flags_.gi32_LastSentDCDBRecordNum = before_.sentNumber;
    flags_.gui32_LastDCDBRecordSentTime = before_.sentTime;
  }
}

}  // namespace datacollector
