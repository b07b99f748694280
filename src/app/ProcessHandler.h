// The single-instance guard: whoever binds the name of a UNIX datagram socket is the daemon.
#pragma once

#include <atomic>
#include <cstdint>

namespace datacollector {

// The guard's socket, -1 while there is none. Written by the main thread at start, read by the thread that
// ends the process.
extern std::atomic<std::int32_t> gi32_InstanceSocket;

// Tries to become the daemon: 0 when this process is the daemon now, 1 when another one answers on `path`, -1
// when neither. A socket file that a dead daemon left is removed and tried again, at most `retries` times.
// `name` is used in messages only. Main thread.
int ProcessHandler(const char* path, int retries, const char* name);

// Closes the guard's socket if there is one. The socket file stays; the next start removes it.
void CloseUnixDomainSocket();

}  // namespace datacollector
