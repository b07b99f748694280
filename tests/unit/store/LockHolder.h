// Another process that holds a lock on a database.
#pragma once

#include <sys/types.h>

#include <string>

namespace datacollector {

// The lock is held when the constructor returns, until Release.
class LockHolder {
 public:
  enum class Lock {
    Shared,    // a reader: others can read and prepare, but not commit
    Reserved,  // a writer before its commit: others can read
    Exclusive  // a writer in its commit: nobody else can do anything
  };

  LockHolder(const std::string& path, Lock lock);
  ~LockHolder() { Release(); }
  LockHolder(const LockHolder&) = delete;
  LockHolder(LockHolder&&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;
  LockHolder& operator=(LockHolder&&) = delete;

  void Release();

  // Releases when SQLite, on the calling thread, first pauses because of a lock: a short lock on a machine of
  // any speed.
  void ReleaseAtTheFirstPause();

 private:
  pid_t child_ = -1;
  int release_ = -1;  // closing it makes the child let go
};

}  // namespace datacollector
