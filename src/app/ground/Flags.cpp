#include "app/ground/Flags.h"

namespace datacollector {
namespace {

void Zero(ByteFlag& flag) { flag = 0; }

void Zero(PeriodicWindow& window) {
  window.gui8_WriteRecordsDue = 0;
  window.gui8_WriteRecordsRequested = 0;
  window.gui8_WriteRecordsAfterPeriodicMinute = 0;
  window.gui8_WriteRecordsWithinPeriodicMinute = 0;
  window.gui8_PeriodicRecordsWritten = 0;
}

void Zero(DataRequest& request) {
  request.gui8_AppDataReqPublished = 0;
  request.gui8_AppDataReqPending = 0;
  request.gi32_ReqId = 0;
}

void Zero(KindSendFlags& flags) {
  flags.gui8_SendDCDBRecordRetryFlags = 0;
  flags.gui8_NoDCDBRecordsToPublish = 0;
  flags.gui8_FirstDCDBRecordSent = 0;
  flags.gui8_SendDCDBRecordFlags = 0;
  flags.gui8_SendUnsentDCDBRecord = 0;
  flags.gui8_SendFirstCDBRecord = 0;
  flags.gui32_LastDCDBRecordSentTime = 0;
  flags.gi32_LastSentDCDBRecordNum = 0;
  flags.gf64_SendDCDBRecordFlagSetTime.Reset();
}

template <typename Entry, std::size_t Count>
void Zero(std::array<Entry, Count>& entries) {
  for (Entry& entry : entries) {
    Zero(entry);
  }
}

template <typename Entry>
void Zero(PerSource<Entry>& sources) {
  Zero(sources.io);
  Zero(sources.rs485);
  Zero(sources.rs232);
  Zero(sources.snmp);
}

}  // namespace

PerSource<PeriodicWindow> DBWriteFlags;
PerSource<ByteFlag> RecordFlags;
PerSource<DataRequest> AppDataReqFlags;
std::array<KindSendFlags, kSourceKinds> CloudConnectSendFlags;
Word gi32_HTTPThreadSendFlag;
std::uint8_t gui8_WanStatus;
std::array<std::atomic<Recovery>, kSourceKinds> gRecordNumberRecovery;
SourceCounts SrcFlags;

void ReleaseTime::Set(std::int64_t seconds, std::int32_t nanoseconds) {
  const auto bits = static_cast<std::uint64_t>(seconds);
  sequence_.fetch_add(1);
  secondsLow_ = static_cast<std::uint32_t>(bits);
  secondsHigh_ = static_cast<std::uint32_t>(bits >> 32U);
  nanoseconds_ = static_cast<std::uint32_t>(nanoseconds);
  sequence_.fetch_add(1);
}

double ReleaseTime::Seconds() const {
  for (;;) {
    const std::uint32_t before = sequence_;
    const std::uint64_t high = secondsHigh_;
    const std::uint64_t low = secondsLow_;
    const std::uint32_t nanoseconds = nanoseconds_;
    if (before % 2 == 0 && sequence_ == before) {
      return static_cast<double>((high << 32U) | low) + nanoseconds / 1000000000.0;
    }
  }
}

void ReleaseTime::Reset() { Set(0, 0); }

void ZeroFlags() {
  Zero(DBWriteFlags);
  Zero(RecordFlags);
  Zero(AppDataReqFlags);
  Zero(CloudConnectSendFlags);
  gi32_HTTPThreadSendFlag = 0;
  gui8_WanStatus = 0;
  for (std::atomic<Recovery>& recovery : gRecordNumberRecovery) {
    recovery = Recovery::Pending;
  }
  SrcFlags = {};
}

}  // namespace datacollector
