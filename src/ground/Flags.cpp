#include "ground/Flags.h"

#include <memory>

namespace datacollector {
namespace {

template <typename Group>
void Renew(Group& group) {
  std::destroy_at(&group);
  std::construct_at(&group);
}

}  // namespace

PerSource<PeriodicWindow> DBWriteFlags;
PerSource<ByteFlag> RecordFlags;
PerSource<DataRequest> AppDataReqFlags;
std::array<KindSendFlags, kSourceKinds> CloudConnectSendFlags;
Word gi32_HTTPThreadSendFlag;
std::uint8_t gui8_WanStatus;
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

void ZeroFlags() {
  Renew(DBWriteFlags);
  Renew(RecordFlags);
  Renew(AppDataReqFlags);
  Renew(CloudConnectSendFlags);
  Renew(gi32_HTTPThreadSendFlag);
  Renew(gui8_WanStatus);
  Renew(SrcFlags);
}

}  // namespace datacollector
