#include "unit/store/LockHolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

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

[[noreturn]] void HoldInChild(const char* path, LockHolder::Lock lock, int milliseconds, int release,
                              int held) {
  sqlite3* handle = nullptr;
  const bool locked = sqlite3_open_v2(path, &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
                      sqlite3_exec(handle, StatementFor(lock), nullptr, nullptr, nullptr) == SQLITE_OK;
  const char answer = locked ? 'y' : 'n';
  if (::write(held, &answer, 1) != 1) {
    ::_exit(1);
  }
  pollfd wish{release, POLLIN, 0};
  ::poll(&wish, 1, milliseconds);
  sqlite3_close(handle);
  ::_exit(0);
}

}  // namespace

LockHolder::LockHolder(const std::string& path, Lock lock) { Start(path, lock, -1); }

LockHolder::LockHolder(const std::string& path, Lock lock, std::chrono::milliseconds time) {
  Start(path, lock, static_cast<int>(time.count()));
}

void LockHolder::Start(const std::string& path, Lock lock, int milliseconds) {
  std::array<int, 2> release{};
  std::array<int, 2> held{};
  ASSERT_EQ(::pipe2(release.data(), O_CLOEXEC), 0);
  ASSERT_EQ(::pipe2(held.data(), O_CLOEXEC), 0);
  child_ = ::fork();
  if (child_ == 0) {
    ::close(release[1]);
    HoldInChild(path.c_str(), lock, milliseconds, release[0], held[1]);
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
}

}  // namespace datacollector
