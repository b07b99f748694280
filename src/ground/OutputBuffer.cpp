#include "ground/OutputBuffer.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace datacollector {
namespace {

using Clock = OutputBuffer::Clock;

constexpr std::chrono::seconds kPatience{1};

// A pipe that polls as writable takes at least this much without blocking.
constexpr std::size_t kUnblockingBytes = 4096;

// Files and /dev/null always take what they are given, and in one piece.
bool MayBlock(int descriptor) {
  const dev_t null = makedev(1, 3);
  struct stat status {};
  return ::fstat(descriptor, &status) != 0 || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) ||
         (S_ISCHR(status.st_mode) && status.st_rdev != null && ::isatty(descriptor) == 1);
}

// Waits until the output takes bytes again; false when `deadline` passes first.
bool WaitUntilWritable(int descriptor, Clock::time_point deadline) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd watched{descriptor, POLLOUT, 0};
    const int ready =
        ::poll(&watched, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left, 0)));
    if (ready >= 0 || errno != EINTR) {
      return ready > 0;
    }
  }
}

long LinesIn(std::string_view text) { return std::count(text.begin(), text.end(), '\n'); }

}  // namespace

// Returns how much was taken. What a closed or failing output does not take counts as taken: the daemon goes
// on without it.
std::size_t OutputBuffer::WriteOut(const char* bytes, std::size_t count, const Limit& limit) {
  const bool mayBlock = MayBlock(descriptor_);
  const Clock::time_point now = Clock::now();
  const Clock::time_point deadline = limit.value_or(stalled_ ? now : now + kPatience);
  std::size_t taken = 0;
  while (taken < count) {
    if (mayBlock && !WaitUntilWritable(descriptor_, deadline)) {
      return taken;
    }
    const std::size_t left = count - taken;
    const ssize_t written =
        ::write(descriptor_, bytes + taken, mayBlock ? std::min(left, kUnblockingBytes) : left);
    if (written > 0) {
      taken += static_cast<std::size_t>(written);
      lastWritten_ = bytes[taken - 1];
    } else if (errno == EAGAIN && Clock::now() >= deadline) {
      return taken;
    } else if (errno != EAGAIN && errno != EINTR) {
      return count;
    }
  }
  return taken;
}

void OutputBuffer::Write(const Limit& limit) {
  const std::size_t taken = WriteOut(bytes_.data(), used_, limit);
  std::copy(bytes_.begin() + static_cast<std::ptrdiff_t>(taken),
            bytes_.begin() + static_cast<std::ptrdiff_t>(used_), bytes_.begin());
  used_ -= taken;
  eventStart_ -= std::min(eventStart_, taken);
  stalled_ = used_ > 0;
}

// Takes back what is left of the event that is going on; the rest of it will not be taken either.
void OutputBuffer::LoseEvent() {
  losing_ = true;
  lost_ += LinesIn({bytes_.data() + eventStart_, used_ - eventStart_});
  used_ = eventStart_;
}

void OutputBuffer::Append(std::string_view text, const Limit& limit) {
  while (!losing_ && text.size() > bytes_.size() - used_) {
    const std::size_t fitting = std::min(text.size(), bytes_.size() - used_);
    std::copy_n(text.data(), fitting, bytes_.data() + used_);
    used_ += fitting;
    text.remove_prefix(fitting);
    Write(limit);
    if (used_ == bytes_.size()) {
      LoseEvent();
    }
  }
  if (losing_) {
    lost_ += LinesIn(text);
    return;
  }
  std::copy_n(text.data(), text.size(), bytes_.data() + used_);
  used_ += text.size();
}

// Formats straight into the free part of the buffer; a text that does not fit there takes a way of its own.
void OutputBuffer::AppendFormatted(const char* format, std::va_list arguments, const Limit& limit) {
  std::va_list again;
  va_copy(again, arguments);
  const std::size_t room = losing_ ? 0 : bytes_.size() - used_;
  const int formatted = std::vsnprintf(bytes_.data() + used_, room, format, arguments);
  const std::size_t length = formatted > 0 ? static_cast<std::size_t>(formatted) : 0;
  if (length < room) {
    used_ += length;
  } else if (const std::unique_ptr<char[]> text{new (std::nothrow) char[length + 1]}) {
    std::vsnprintf(text.get(), length + 1, format, again);
    Append({text.get(), length}, limit);
  }
  va_end(again);
}

// The output has taken everything up to the gap: the line stands in its place.
void OutputBuffer::TellWhatIsMissing() {
  if (lastWritten_ != '\n') {
    bytes_[used_++] = '\n';
  }
  const int length = std::snprintf(bytes_.data() + used_, bytes_.size() - used_, missing_, lost_);
  used_ += static_cast<std::size_t>(length);
  losing_ = false;
  lost_ = 0;
}

void OutputBuffer::EndEvent(const Limit& limit) {
  if (used_ > 0) {
    Write(limit);
  }
  if (losing_ && used_ == 0) {
    TellWhatIsMissing();
    Write(limit);
  }
  eventStart_ = used_;
}

}  // namespace datacollector
