#include "ground/Trace.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <thread>

#include "ground/OutputBuffer.h"

namespace datacollector {
namespace {

// Large enough for everything that one stored record prints, so that it leaves in one piece.
constexpr std::size_t kTraceBytes = std::size_t{64} * 1024;

// Errors are written at once: this is for an output that is stalled.
constexpr std::size_t kErrorBytes = std::size_t{8} * 1024;

std::array<char, kTraceBytes> traceBytes;
std::array<char, kErrorBytes> errorBytes;

// `mutex` guards both outputs.
std::mutex mutex;
constinit OutputBuffer trace(STDOUT_FILENO, traceBytes, "%ld lines of the trace are missing\n");
constinit OutputBuffer errors(STDERR_FILENO, errorBytes, "%ld lines of standard error are missing\n");

thread_local OutputBuffer::Limit threadLimit;

// Holds the outputs for the calling thread, unless its deadline passes first.
class OutputLock {
 public:
  OutputLock() : lock_(mutex, std::defer_lock) {
    if (!threadLimit) {
      Lock();
      return;
    }
    while (!lock_.try_lock()) {
      if (OutputBuffer::Clock::now() >= *threadLimit) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  explicit operator bool() const { return lock_.owns_lock(); }

 private:
  // A line takes less time than going to sleep for the lock and being woken.
  void Lock() {
    for (int tries = 0; tries < kTriesBeforeSleep; ++tries) {
      if (lock_.try_lock()) {
        return;
      }
    }
    lock_.lock();
  }

  static constexpr int kTriesBeforeSleep = 200;

  std::unique_lock<std::mutex> lock_;
};

}  // namespace

void Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  if (const OutputLock lock; lock) {
    trace.AppendFormatted(format, arguments, threadLimit);
  }
  va_end(arguments);
}

void PrintText(std::string_view text) {
  if (const OutputLock lock; lock) {
    trace.Append(text, threadLimit);
  }
}

void PrintLine(std::string_view text) {
  if (const OutputLock lock; lock) {
    trace.Append(text, threadLimit);
    trace.Append("\n", threadLimit);
  }
}

void PrintError(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  if (const OutputLock lock; lock) {
    trace.EndEvent(threadLimit);
    errors.AppendFormatted(format, arguments, threadLimit);
    errors.EndEvent(threadLimit);
  }
  va_end(arguments);
}

void PrintSystemError(const char* what) {
  const int error = errno;
  PrintError("%s: %s\n", what, std::strerror(error));
}

void FlushTrace() {
  if (const OutputLock lock; lock) {
    trace.EndEvent(threadLimit);
    errors.EndEvent(threadLimit);
  }
}

void LimitTraceOfThisThread(std::chrono::steady_clock::time_point deadline) { threadLimit = deadline; }

}  // namespace datacollector
