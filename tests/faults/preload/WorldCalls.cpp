// The C library's calls that ask for the time of day, and the one that connects to the broker.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <ctime>

#include "faults/preload/Intercept.h"
#include "faults/preload/RealCall.h"

namespace {

constexpr in_port_t kBrokerPort = 1883;

time_t SecondsAhead() {
  const datacollector::faults::FaultControl* control = datacollector::faults::TheControl();
  return control == nullptr ? 0 : static_cast<time_t>(control->secondsAhead.load());
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  DATACOLLECTOR_REAL("clock_gettime", int(clockid_t, timespec*));
  const int result = real(clock, time);
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
    time->tv_sec += SecondsAhead();
  }
  return result;
}

int gettimeofday(timeval* time, void* zone) noexcept {
  DATACOLLECTOR_REAL("gettimeofday", int(timeval*, void*));
  const int result = real(time, zone);
  time->tv_sec += SecondsAhead();
  return result;
}

time_t time(time_t* result) noexcept {
  DATACOLLECTOR_REAL("time", time_t(time_t*));
  const time_t now = real(nullptr) + SecondsAhead();
  if (result != nullptr) {
    *result = now;
  }
  return now;
}

int connect(int socket, const sockaddr* address, socklen_t length) {
  DATACOLLECTOR_REAL("connect", int(int, const sockaddr*, socklen_t));
  const datacollector::faults::FaultControl* control = datacollector::faults::TheControl();
  if (control == nullptr || control->brokerPort == 0 || address->sa_family != AF_INET ||
      length < sizeof(sockaddr_in)) {
    return real(socket, address, length);
  }
  sockaddr_in there = *reinterpret_cast<const sockaddr_in*>(address);
  if (there.sin_port == htons(kBrokerPort)) {
    there.sin_port = htons(static_cast<in_port_t>(control->brokerPort.load()));
  }
  return real(socket, reinterpret_cast<const sockaddr*>(&there), length);
}

}  // extern "C"
