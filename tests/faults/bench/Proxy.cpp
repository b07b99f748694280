#include "faults/bench/Proxy.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace datacollector::faults {
namespace {

using gateway::Descriptor;

constexpr std::uint16_t kBrokerPort = 1883;
constexpr int kTickMilliseconds = 10;
constexpr std::size_t kAtOnce = 65536;

sockaddr_in AddressOf(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool HasInput(const Descriptor& descriptor, int milliseconds) {
  pollfd watched{descriptor.Get(), POLLIN, 0};
  return ::poll(&watched, 1, milliseconds) > 0;
}

}  // namespace

Proxy::Proxy(std::uint16_t port) : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in address = AddressOf(port);
  const int reuse = 1;
  ::setsockopt(listener_.Get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  EXPECT_EQ(::bind(listener_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
      << std::strerror(errno);
  EXPECT_EQ(::listen(listener_.Get(), 5), 0) << std::strerror(errno);
  thread_ = std::jthread([this](const std::stop_token& stop) { Run(stop); });
}

void Proxy::Stall(End sender, bool stalled) {
  const std::lock_guard lock(mutex_);
  stalled_[static_cast<std::size_t>(sender)] = stalled;
}

void Proxy::Drip(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  drip_ = bytes;
}

void Proxy::Cut(End told) {
  const std::lock_guard lock(mutex_);
  for (Connection& connection : connections_) {
    connection.ends[static_cast<std::size_t>(told)].Close();
  }
}

void Proxy::Run(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    if (HasInput(listener_, kTickMilliseconds)) {
      Accept();
    }
    const std::lock_guard lock(mutex_);
    for (Connection& connection : connections_) {
      Forward(connection);
    }
  }
}

// Without a broker behind it, the line is dead at once.
void Proxy::Accept() {
  Descriptor daemon(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
  Descriptor broker(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = AddressOf(kBrokerPort);
  if (::connect(broker.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return;
  }
  const int noDelay = 1;
  for (const Descriptor* end : {&daemon, &broker}) {
    ::setsockopt(end->Get(), IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
  }
  const std::lock_guard lock(mutex_);
  connections_.push_back({{std::move(daemon), std::move(broker)}});
}

void Proxy::Forward(Connection& connection) const {
  if (connection.ends[0].Get() < 0 || connection.ends[1].Get() < 0) {
    return;  // cut
  }
  if (!Forward(connection, End::Daemon) || !Forward(connection, End::Broker)) {
    connection.ends[0].Close();
    connection.ends[1].Close();
  }
}

// False when one of them has hung up.
bool Proxy::Forward(Connection& connection, End sender) const {
  const auto from = static_cast<std::size_t>(sender);
  if (stalled_[from] || !HasInput(connection.ends[from], 0)) {
    return true;
  }
  std::vector<char> bytes(drip_ == 0 ? kAtOnce : drip_);
  const ssize_t length = ::recv(connection.ends[from].Get(), bytes.data(), bytes.size(), 0);
  return length > 0 && ::send(connection.ends[1 - from].Get(), bytes.data(), static_cast<std::size_t>(length),
                              MSG_NOSIGNAL) == length;
}

}  // namespace datacollector::faults
