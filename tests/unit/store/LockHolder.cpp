#include "unit/store/LockHolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
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

const char* StatementsFor(LockHolder::Lock lock) {
  switch (lock) {
    case LockHolder::Lock::Shared:
      return "BEGIN; SELECT 'held' FROM (SELECT COUNT(*) FROM sqlite_master);\n";
    case LockHolder::Lock::Reserved:
      return "BEGIN IMMEDIATE; SELECT 'held';\n";
    default:
      return "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; SELECT 'held';\n";
  }
}

}  // namespace

// The sqlite3 tool, because a forked child would share SQLite's knowledge of this process's own locks.
LockHolder::LockHolder(const std::string& path, Lock lock) {
  std::array<int, 2> statements{};
  std::array<int, 2> answers{};
  EXPECT_EQ(::pipe2(statements.data(), O_CLOEXEC), 0);
  EXPECT_EQ(::pipe2(answers.data(), O_CLOEXEC), 0);
  child_ = ::fork();
  if (child_ == 0) {
    ::dup2(statements[0], STDIN_FILENO);
    ::dup2(answers[1], STDOUT_FILENO);
    ::execlp("sqlite3", "sqlite3", "-batch", "-bail", "-init", "/dev/null", path.c_str(), nullptr);
    ::_exit(1);
  }
  ::close(statements[0]);
  ::close(answers[1]);
  statements_ = statements[1];
  const std::string text = StatementsFor(lock);
  EXPECT_EQ(::write(statements_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  std::string answer;
  for (char character = 0;
       answer.find("held\n") == std::string::npos && ::read(answers[0], &character, 1) == 1;) {
    answer += character;
  }
  EXPECT_NE(answer.find("held\n"), std::string::npos) << "no lock on " << path;
  ::close(answers[0]);
}

void LockHolder::Release() {
  if (child_ > 0) {
    ::close(statements_);
    ::waitpid(child_, nullptr, 0);
    child_ = -1;
  }
  if (awaited == this) {
    awaited = nullptr;
  }
}

void LockHolder::ReleaseAtTheFirstPause() { awaited = this; }

}  // namespace datacollector
