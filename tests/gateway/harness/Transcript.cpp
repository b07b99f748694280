#include "gateway/harness/Transcript.h"

#include <algorithm>

namespace datacollector::gateway {

void Transcript::Append(std::string_view text) {
  {
    const std::lock_guard lock(mutex_);
    text_ += text;
  }
  grown_.notify_all();
}

void Transcript::Close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  grown_.notify_all();
}

Transcript::Mark Transcript::End() const {
  const std::lock_guard lock(mutex_);
  return text_.size();
}

std::string Transcript::Since(Mark mark) const {
  const std::lock_guard lock(mutex_);
  return text_.substr(std::min(mark, text_.size()));
}

std::vector<std::string> Transcript::LastLines(std::size_t count) const {
  const std::string text = All();
  std::vector<std::string> lines;
  std::size_t end = text.ends_with('\n') ? text.size() - 1 : text.size();
  while (lines.size() < count && end != std::string::npos && end > 0) {
    const std::size_t before = text.rfind('\n', end - 1);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    lines.push_back(text.substr(begin, end - begin));
    end = before;
  }
  std::reverse(lines.begin(), lines.end());
  return lines;
}

std::size_t Transcript::Count(std::string_view text, Mark from) const {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (std::size_t at = text_.find(text, from); at != std::string::npos;
       at = text_.find(text, at + text.size())) {
    ++count;
  }
  return count;
}

std::optional<Transcript::Mark> Transcript::WaitFor(std::string_view text, Mark from,
                                                    std::chrono::milliseconds patience) const {
  return WaitForCount(text, 1, from, patience);
}

std::optional<Transcript::Mark> Transcript::WaitForCount(std::string_view text, std::size_t count, Mark from,
                                                         std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  std::size_t found = 0;
  std::unique_lock lock(mutex_);
  while (true) {
    for (std::size_t at = text_.find(text, from); at != std::string::npos; at = text_.find(text, from)) {
      from = at + text.size();
      if (++found == count) {
        return from;
      }
    }
    if (text_.size() >= text.size()) {
      from = std::max(from, text_.size() - text.size() + 1);
    }
    if (closed_ || grown_.wait_until(lock, deadline) == std::cv_status::timeout) {
      return std::nullopt;
    }
  }
}

std::optional<std::string> Transcript::WaitForLine(const std::regex& pattern, Mark from,
                                                   std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  std::unique_lock lock(mutex_);
  while (true) {
    for (std::size_t end = text_.find('\n', from); end != std::string::npos; end = text_.find('\n', from)) {
      std::string line = text_.substr(from, end - from);
      from = end + 1;
      if (std::regex_match(line, pattern)) {
        return line;
      }
    }
    if (closed_ || grown_.wait_until(lock, deadline) == std::cv_status::timeout) {
      return std::nullopt;
    }
  }
}

}  // namespace datacollector::gateway
