#include "app/ProcessHandler.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "ground/Trace.h"

namespace datacollector {
namespace {

sockaddr_un AddressOf(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  return address;
}

const sockaddr* Generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

bool Bind(int descriptor, const sockaddr_un& address) {
  PrintLine("Bind a name to the socket");
  const std::size_t length = std::strlen(address.sun_path) + offsetof(sockaddr_un, sun_path);
  return ::bind(descriptor, Generic(address), static_cast<socklen_t>(length)) == 0;
}

// Connects to the daemon that holds the name. The name of a daemon that died is freed.
bool ConnectToDaemon(int descriptor, const sockaddr_un& address) {
  PrintLine("bind failure: EADDRINUSE -> The given address is already in use");
  PrintLine("Connecting to Socket...");
  if (::connect(descriptor, Generic(address), sizeof address) == 0) {
    PrintLine("Connect Success");
    return true;
  }
  const int error = errno;
  PrintLine("Connect failure");
  if (error == ECONNREFUSED) {
    PrintLine("connect failure: ECONNREFUSED -> No-one listening on the remote address");
    PrintLine("Could not connect to socket, assuming daemon died.");
    ::unlink(address.sun_path);
  } else {
    Print("Could not connect to socket: '%s'\n", std::strerror(error));
  }
  return false;
}

}  // namespace

std::atomic<std::int32_t> gi32_InstanceSocket = -1;

int ProcessHandler(const char* path, int retries, const char* name) {
  const FunctionTrace trace(__func__);
  const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Print("Socket File Descriptor = %d\n", descriptor);
  if (descriptor < 0) {
    return -1;
  }
  PrintLine("Success: UNIX domain Socket Created Successfully");
  const sockaddr_un address = AddressOf(path);
  for (int left = retries;; --left) {
    if (Bind(descriptor, address)) {
      gi32_InstanceSocket = descriptor;
      PrintLine("Bind Success");
      Print("/*********** There was no Daemon <%s> running before **********/\n", name);
      return 0;
    }
    const int error = errno;
    if (error != EADDRINUSE) {
      Print("Could not bind to socket: '%s'\n", std::strerror(error));
    } else if (ConnectToDaemon(descriptor, address)) {
      Print("/************ Daemon <%s> is already running ************/\n", name);
      gi32_InstanceSocket = descriptor;
      return 1;
    }
    if (left == 0) {
      Print(
          "/*********** It neither connected to an existing daemon <%s> nor become daemon ***************/\n",
          name);
      ::close(descriptor);
      return -1;
    }
  }
}

void CloseUnixDomainSocket() {
  const FunctionTrace trace(__func__);
  if (const int descriptor = gi32_InstanceSocket.exchange(-1); descriptor >= 0) {
    ::close(descriptor);
  }
}

}  // namespace datacollector
