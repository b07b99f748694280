// Which file a path names at this moment, and the files that SQLite keeps beside a database.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <array>

namespace datacollector {

// All zero where there is no file.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const FileIdentity&) const = default;
  bool Exists() const { return inode != 0; }
};

struct FileState {
  FileIdentity identity;
  off_t bytes = 0;
};

inline FileState StateOf(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 ? FileState{{status.st_dev, status.st_ino}, status.st_size} : FileState{};
}

inline FileIdentity IdentityOf(const char* path) { return StateOf(path).identity; }

// What SQLite names the log, its shared index and the rollback journal of a database: the database's path and
// one of these.
inline constexpr const char* kLogSuffix = "-wal";
inline constexpr const char* kIndexSuffix = "-shm";
inline constexpr const char* kJournalSuffix = "-journal";
inline constexpr std::array<const char*, 3> kBesideSuffixes = {kLogSuffix, kIndexSuffix, kJournalSuffix};

}  // namespace datacollector
