// Everything that a process has written to one of its streams so far.
//
// Filled by one reader thread; everybody else looks at it and waits for it to grow. Positions ("marks") are
// byte offsets from the start of the stream.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/harness/Deadline.h"

namespace datacollector::gateway {

class Transcript {
 public:
  using Mark = std::size_t;

  // For the reader thread: adds what has arrived, and says that nothing more will.
  void Append(std::string_view text);
  void Close();

  // Where the stream ends now.
  Mark End() const;

  std::string Since(Mark mark) const;
  std::string All() const { return Since(0); }
  std::vector<std::string> LastLines(std::size_t count) const;

  // How often `text` stands behind `from`.
  std::size_t Count(std::string_view text, Mark from = 0) const;

  // Waits until `text` stands behind `from` and returns the position behind it; nothing when it has not come
  // in time or the stream has ended without it.
  std::optional<Mark> WaitFor(std::string_view text, Mark from = 0,
                              std::chrono::milliseconds patience = kPatience) const;

  // The same for the `count`th occurrence behind `from`.
  std::optional<Mark> WaitForCount(std::string_view text, std::size_t count, Mark from = 0,
                                   std::chrono::milliseconds patience = kPatience) const;

  // Waits for a whole line behind `from` that matches, and returns it.
  std::optional<std::string> WaitForLine(const std::regex& pattern, Mark from = 0,
                                         std::chrono::milliseconds patience = kPatience) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable grown_;
  std::string text_;
  bool closed_ = false;
};

}  // namespace datacollector::gateway
