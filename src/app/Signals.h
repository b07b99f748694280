// How the daemon takes SIGINT, SIGTERM and SIGBUS.
//
// The handler itself only wakes a thread that waits for nothing else. That thread prints, logs and, for
// SIGINT and SIGTERM, ends the process with status 0 within a second, whatever the other threads are doing.
#pragma once

#include <csignal>

namespace datacollector {

// What installs a handler; the system's own unless a test hands in another.
using SignalInstaller = int (*)(int signal, const struct sigaction* action, struct sigaction* before);

// Installs the handler for the three signals and starts the thread that acts on them. A signal whose handler
// can't be installed is printed and logged, and the daemon goes on. SIGPIPE is ignored from now on. Main
// thread, before it creates any other thread: the threads inherit which signals they leave to this one.
void InstallSignalHandlers(SignalInstaller install = ::sigaction);

}  // namespace datacollector
