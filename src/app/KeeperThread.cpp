#include "app/KeeperThread.h"

#include <pthread.h>

#include <chrono>
#include <thread>

#include "ground/Notices.h"
#include "ground/Trace.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/ClientWrappers.h"

namespace datacollector {
namespace {

// How long a notice that is due may wait while nothing else happens.
constexpr std::chrono::seconds kRound{1};

// Before each attempt to connect again, so that a broker that refuses is not pestered.
constexpr std::chrono::milliseconds kConnectPause{500};

void* KeeperThread(void* /*unused*/) {
  bool lost = false;
  for (;;) {
    if (lost || Mosquitto_WaitForLoss(gClientConfig, kRound)) {
      std::this_thread::sleep_for(kConnectPause);
      lost = Mosquitto_Reconnect(gClientConfig) != 0;
    }
    FlushNotices();
    FlushTrace();
  }
}

}  // namespace

void StartKeeperThread() {
  pthread_t handle{};
  if (const int error = ::pthread_create(&handle, nullptr, KeeperThread, nullptr); error != 0) {
    PrintError("The thread that looks after the broker's connection can't be started (error %d)\n", error);
  }
}

}  // namespace datacollector
