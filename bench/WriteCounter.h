// What the process asks of the disk: counted where SQLite's calls enter the C library.
#pragma once

#include <cstdint>

namespace datacollector::bench {

struct Writes {
  std::int64_t syncs;  // fsync and fdatasync, of files and of directories
  std::int64_t bytes;  // written by pwrite, as SQLite does
};

Writes WritesSoFar();

}  // namespace datacollector::bench
