// Disks that can't do what most can, as SQLite sees them.
#pragma once

#include <cstdint>

namespace datacollector {

enum class DiskFault : std::uint8_t {
  None,
  NoSharedMaps,  // the index of a log can't be mapped: ENOMEM
  NoFileLocks    // nothing can be locked: EINVAL
};

// As long as it lives, SQLite finds every disk that way. One at a time; no database is open in the process
// when it is made and when it goes.
class FaultyDisk {
 public:
  explicit FaultyDisk(DiskFault fault);
  ~FaultyDisk();
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk(FaultyDisk&&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;
  FaultyDisk& operator=(FaultyDisk&&) = delete;

 private:
  const DiskFault fault_;
};

}  // namespace datacollector
