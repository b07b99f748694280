// A buffer before an output of the process that keeps the process going when nobody reads the output.
//
// A thread waits at most one second for an output to take what is buffered. After that the output counts as
// stalled: nobody waits for it any more, and what no longer fits in the buffer is lost, whole events at a
// time. As soon as the output has taken what was kept, one line tells how many lines are missing at that
// place.
//
// Not thread-safe: its owner holds a lock over every call.
#pragma once

#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace datacollector {

class OutputBuffer {
 public:
  using Clock = std::chrono::steady_clock;

  // A deadline of the calling thread, which then counts in place of the second; none for most threads.
  using Limit = std::optional<Clock::time_point>;

  // The buffer owns neither. `missing` is the line about missing lines, with one %ld.
  constexpr OutputBuffer(int descriptor, std::span<char> bytes, const char* missing)
      : descriptor_(descriptor), bytes_(bytes), missing_(missing) {}

  void Append(std::string_view text, const Limit& limit);
  void AppendFormatted(const char* format, std::va_list arguments, const Limit& limit);

  // Writes what is buffered, as far as the output takes it. What comes after this is another event.
  void EndEvent(const Limit& limit);

 private:
  void Write(const Limit& limit);
  std::size_t WriteOut(const char* bytes, std::size_t count, const Limit& limit);
  void LoseEvent();
  void TellWhatIsMissing();

  int descriptor_;
  std::span<char> bytes_;
  const char* missing_;
  std::size_t used_ = 0;
  std::size_t eventStart_ = 0;  // in `bytes_`: where the event that is going on begins
  bool stalled_ = false;        // since the output took nothing, until it has taken everything
  bool losing_ = false;         // while stalled, since the first event that did not fit
  long lost_ = 0;               // lines, since then
  char lastWritten_ = '\n';
};

}  // namespace datacollector
