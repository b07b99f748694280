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

}  // namespace

HandOver::HandOver(SourceKind kind, ClientConfig& cfg, double releaseTime)
    : kind_(kind), cfg_(cfg), releaseTime_(releaseTime), flags_(CloudConnectSendFlags[kind]) {}

// The order is the one in which a confirmation and the retry timer may look: both read the word before the
// time and the number, and neither sets a flag in a word whose count has been raised since.
void HandOver::Announce(std::int32_t recordNumber) {
  recordNumber_ = recordNumber;
  sentAt_ = TakeMonotonicClock();
  before_.sentTime =
      flags_.gui32_LastDCDBRecordSentTime.exchange(static_cast<std::uint32_t>(sentAt_.now.tv_sec));
  before_.sentNumber = flags_.gi32_LastSentDCDBRecordNum.exchange(recordNumber);
  // A release since the caller looked stays in force, so that the next record goes at once.
  before_.word = flags_.word.Count([this](std::uint32_t now) {
    const bool released = flags_.gf64_SendDCDBRecordFlagSetTime.Seconds() != releaseTime_;
    return kFirstSent | (released ? now & kSendWanted : 0U);
  });
  if (kConsequences[kind_].closesGate) {
    before_.gate = gi32_HTTPThreadSendFlag.exchange(kGateClosedByHandOver);
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

void HandOver::Withdraw() {
  if (kConsequences[kind_].takesBack) {
    TakeBackAnnouncement();
  }
  TakeBackClosing();
}

void HandOver::Recall() {
  TakeBackAnnouncement();
  TakeBackClosing();
}

// Like an announcement: number and time before the count. What was set since stays.
void HandOver::TakeBackAnnouncement() {
  flags_.gi32_LastSentDCDBRecordNum = before_.sentNumber;
  flags_.gui32_LastDCDBRecordSentTime = before_.sentTime;
  flags_.word.Count([this](std::uint32_t now) { return (now & ~kFirstSent) | before_.word; });
}

// A message may have opened the gate since, and ingestion may have closed it: then it stays as it is.
void HandOver::TakeBackClosing() {
  if (kConsequences[kind_].closesGate) {
    std::int32_t closed = kGateClosedByHandOver;
    gi32_HTTPThreadSendFlag.compare_exchange_strong(closed, before_.gate);
  }
}

}  // namespace datacollector
