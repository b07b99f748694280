#include "gateway/harness/Impostor.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace datacollector::gateway {
namespace {

using Instant = std::chrono::steady_clock::time_point;

constexpr std::uint16_t kPort = 1883;
constexpr std::uint8_t kConnect = 0x10;

bool ReadableBefore(Instant deadline, const Descriptor& descriptor) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  pollfd watched{descriptor.Get(), POLLIN, 0};
  return left.count() > 0 && ::poll(&watched, 1, static_cast<int>(left.count())) > 0;
}

// Reads up to `count` bytes into `bytes`; fewer when the other side has hung up or the deadline has passed.
std::size_t Read(const Descriptor& connection, std::uint8_t* bytes, std::size_t count, Instant deadline) {
  std::size_t length = 0;
  while (length < count && ReadableBefore(deadline, connection)) {
    const ssize_t more = ::read(connection.Get(), bytes + length, count - length);
    if (more <= 0) {
      break;
    }
    length += static_cast<std::size_t>(more);
  }
  return length;
}

// Takes a CONNECT packet off the connection. It is short: its length is one byte.
bool ReadConnect(const Descriptor& connection, Instant deadline) {
  std::array<std::uint8_t, 2> head{};
  std::array<std::uint8_t, 127> rest{};
  return Read(connection, head.data(), head.size(), deadline) == head.size() && head[0] == kConnect &&
         head[1] <= rest.size() && Read(connection, rest.data(), head[1], deadline) == head[1];
}

// Reads whatever comes until the other side has hung up.
bool ReadToTheEnd(const Descriptor& connection, Instant deadline) {
  std::array<std::uint8_t, 4096> bytes{};
  while (ReadableBefore(deadline, connection)) {
    if (::read(connection.Get(), bytes.data(), bytes.size()) <= 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

Impostor::Impostor() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const int reuse = 1;
  ::setsockopt(listener_.Get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::bind(listener_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0)
      << std::strerror(errno);
  EXPECT_EQ(::listen(listener_.Get(), 1), 0) << std::strerror(errno);
}

bool Impostor::Answer(const std::vector<Bytes>& packets, std::chrono::milliseconds patience) const {
  const Instant deadline = std::chrono::steady_clock::now() + patience;
  if (!ReadableBefore(deadline, listener_)) {
    return false;
  }
  const Descriptor connection(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!ReadConnect(connection, deadline)) {
    return false;
  }
  for (const Bytes& packet : packets) {
    ::send(connection.Get(), packet.data(), packet.size(), MSG_NOSIGNAL);
  }
  return ReadToTheEnd(connection, deadline);
}

}  // namespace datacollector::gateway
