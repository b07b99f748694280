// The fingerprint of the configuration: two gateways that show the same one read the same files.
#pragma once

#include <cstdint>

namespace datacollector {

// The digest of the contents of all configuration files, in the order of ConfigFilePaths, below `root`. A
// file that is missing counts as such. Not made for keeping secrets: FNV-1a, 64 bits.
std::uint64_t DigestOfConfiguration(const char* root = "");

}  // namespace datacollector
