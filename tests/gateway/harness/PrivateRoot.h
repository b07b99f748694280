// The file system that a test may write to, see scripts/private-root.sh.
#pragma once

namespace datacollector::gateway {

// Whether the process runs in a private root. Outside of one the daemon's paths are those of the machine.
bool InPrivateRoot();

// Leaves the gateway's files as a fresh private root has them, for a test that isn't the first one in it.
void CleanPrivateRoot();

}  // namespace datacollector::gateway
