// Running a command through the shell, without the traps of system(): the daemon's signals keep working while
// the command runs, and the command inherits nothing but the standard streams.
#pragma once

namespace datacollector {

// Runs a command and waits for its end. Returns its wait status, -1 when it could not be started. May be
// called from any thread.
int RunShellCommand(const char* command);

// Ends the commands that are running now, with everything that they started; from now on no other is started,
// and the threads that run one stay where they are. For the thread that ends the process; does not wait.
void StopShellCommands();

}  // namespace datacollector
