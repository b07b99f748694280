// Another process that holds a lock on a database.
#pragma once

#include <sys/types.h>

#include <string>

namespace datacollector {

// The lock is held when the constructor returns, until Release.
class LockHolder {
 public:
  enum class Lock {
    Shared,    // a reader that stays at what it has seen
    Reserved,  // a writer before its commit: others can read
    Exclusive  // nobody else can do anything; nobody else may have the database open
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
  int statements_ = -1;  // closing it ends the child
};

}  // namespace datacollector
