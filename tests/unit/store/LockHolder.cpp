#include "unit/store/LockHolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <utility>

namespace {

thread_local datacollector::LockHolder* awaited = nullptr;  // by the calling thread's next pause

}  // namespace

// Stands in front of the system's own in this program; SQLite calls it between two looks at a lock.
extern "C" int usleep(useconds_t microseconds) {
  if (awaited != nullptr) {
    std::exchange(awaited, nullptr)->Release();
    return 0;
  }
  const timespec pause{static_cast<time_t>(microseconds / 1'000'000),
                       static_cast<long>(microseconds % 1'000'000 * 1'000)};
  return ::nanosleep(&pause, nullptr);
}

namespace datacollector {
namespace {

const char* StatementFor(LockHolder::Lock lock) {
  switch (lock) {
    case LockHolder::Lock::Shared:
      return "BEGIN; SELECT COUNT(*) FROM sqlite_master";
    case LockHolder::Lock::Reserved:
      return "BEGIN IMMEDIATE";
    default:
      return "BEGIN EXCLUSIVE";
  }
}

[[noreturn]] void HoldInChild(const char* path, LockHolder::Lock lock, int release, int held) {
  sqlite3* handle = nullptr;
  const bool locked = sqlite3_open_v2(path, &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
                      sqlite3_exec(handle, StatementFor(lock), nullptr, nullptr, nullptr) == SQLITE_OK;
  const char answer = locked ? 'y' : 'n';
  if (::write(held, &answer, 1) != 1) {
    ::_exit(1);
  }
  pollfd wish{release, POLLIN, 0};
  ::poll(&wish, 1, -1);
  sqlite3_close(handle);
  ::_exit(0);
}

}  // namespace

LockHolder::LockHolder(const std::string& path, Lock lock) {
  std::array<int, 2> release{};
  std::array<int, 2> held{};
  EXPECT_EQ(::pipe2(release.data(), O_CLOEXEC), 0);
  EXPECT_EQ(::pipe2(held.data(), O_CLOEXEC), 0);
  child_ = ::fork();
  if (child_ == 0) {
    ::close(release[1]);
    HoldInChild(path.c_str(), lock, release[0], held[1]);
  }
  ::close(release[0]);
  ::close(held[1]);
  release_ = release[1];
  char answer = 'n';
  EXPECT_EQ(::read(held[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y') << "no lock on " << path;
  ::close(held[0]);
}

void LockHolder::Release() {
  if (child_ > 0) {
    ::close(release_);
    ::waitpid(child_, nullptr, 0);
    child_ = -1;
  }
  if (awaited == this) {
    awaited = nullptr;
  }
}

void LockHolder::ReleaseAtTheFirstPause() { awaited = this; }

}  // namespace datacollector
