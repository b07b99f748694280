#include "ground/RoundBell.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

std::mutex mutex;
std::condition_variable ring;
bool rung = false;  // since the last wait; under `mutex`

}  // namespace

bool FastRounds() { return gMainState.ui16_FastRoundPause != 0; }

void RingForRound() {
  if (!FastRounds()) {
    return;
  }
  {
    const std::lock_guard lock(mutex);
    rung = true;
  }
  ring.notify_one();
}

bool AwaitRing(std::int32_t milliseconds) {
  FlushTrace();
  std::unique_lock lock(mutex);
  ring.wait_for(lock, std::chrono::milliseconds(milliseconds), [] { return rung; });
  return std::exchange(rung, false);
}

void WantFastRound(SourceKind kind) {
  if (FastRounds() && gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable == 0) {
    KindSendFlags& flags = CloudConnectSendFlags[kind];
    flags.gui8_NoDCDBRecordsToPublish = 0;
    flags.gui8_SendDCDBRecordFlags = 1;
  }
}

}  // namespace datacollector
