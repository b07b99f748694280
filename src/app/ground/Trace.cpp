#include "app/ground/Trace.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <thread>

namespace datacollector {
namespace {

using Clock = std::chrono::steady_clock;

// Large enough for everything that one stored record prints, so that it leaves in one write.
constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;

// A pipe that polls as writable takes at least this much without blocking.
constexpr std::size_t kUnblockingBytes = 4096;

// What was printed and is not written yet. `mutex` guards both members below it.
struct Output {
  std::mutex mutex;
  std::array<char, kBufferBytes> bytes;
  std::size_t used;
};
Output output;

thread_local std::optional<Clock::time_point> threadDeadline;

// Holds the output for the calling thread, unless its deadline passes first.
class OutputLock {
 public:
  OutputLock() : lock_(output.mutex, std::defer_lock) {
    if (!threadDeadline) {
      lock_.lock();
      return;
    }
    while (!lock_.try_lock()) {
      if (Clock::now() >= *threadDeadline) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  explicit operator bool() const { return lock_.owns_lock(); }

 private:
  std::unique_lock<std::mutex> lock_;
};

// Waits until standard output takes bytes again; false when the thread's deadline passes first.
bool WaitUntilWritable() {
  for (;;) {
    int timeout = -1;
    if (threadDeadline) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*threadDeadline - Clock::now());
      timeout = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
    pollfd descriptor{STDOUT_FILENO, POLLOUT, 0};
    const int ready = ::poll(&descriptor, 1, timeout);
    if (ready >= 0 || errno != EINTR) {
      return ready > 0;
    }
  }
}

// Writes bytes to standard output. What a closed or failing output does not take is dropped: the daemon goes
// on without its trace.
void WriteOut(const char* bytes, std::size_t count) {
  while (count > 0) {
    if (threadDeadline && !WaitUntilWritable()) {
      return;
    }
    const ssize_t written =
        ::write(STDOUT_FILENO, bytes, threadDeadline ? std::min(count, kUnblockingBytes) : count);
    if (written >= 0) {
      bytes += written;
      count -= static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      if (!WaitUntilWritable()) {
        return;
      }
    } else if (errno != EINTR) {
      return;
    }
  }
}

void FlushLocked() {
  WriteOut(output.bytes.data(), output.used);
  output.used = 0;
}

void AppendLocked(std::string_view text) {
  if (text.size() > kBufferBytes - output.used) {
    FlushLocked();
  }
  if (text.size() > kBufferBytes) {
    WriteOut(text.data(), text.size());
    return;
  }
  std::copy_n(text.data(), text.size(), output.bytes.data() + output.used);
  output.used += text.size();
}

// Formats straight into the free part of the buffer; a text that does not fit there takes a way of its own.
void AppendFormattedLocked(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const std::size_t room = kBufferBytes - output.used;
  const int formatted = std::vsnprintf(output.bytes.data() + output.used, room, format, arguments);
  const std::size_t length = formatted > 0 ? static_cast<std::size_t>(formatted) : 0;
  if (length < room) {
    output.used += length;
  } else if (const std::unique_ptr<char[]> text{new (std::nothrow) char[length + 1]}) {
    std::vsnprintf(text.get(), length + 1, format, again);
    AppendLocked({text.get(), length});
  }
  va_end(again);
}

}  // namespace

void Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  if (const OutputLock lock; lock) {
    AppendFormattedLocked(format, arguments);
  }
  va_end(arguments);
}

void PrintText(std::string_view text) {
  if (const OutputLock lock; lock) {
    AppendLocked(text);
  }
}

void PrintLine(std::string_view text) {
  if (const OutputLock lock; lock) {
    AppendLocked(text);
    AppendLocked("\n");
  }
}

void PrintError(const char* format, ...) {
  FlushTrace();
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

void PrintSystemError(const char* what) {
  const int error = errno;
  PrintError("%s: %s\n", what, std::strerror(error));
}

void FlushTrace() {
  if (const OutputLock lock; lock && output.used > 0) {
    FlushLocked();
  }
}

void LimitTraceOfThisThread(std::chrono::steady_clock::time_point deadline) { threadDeadline = deadline; }

}  // namespace datacollector
