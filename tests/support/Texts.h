// Traces, logs and files as texts that tests compare.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <regex>
#include <string>
#include <string_view>
#include <thread>

#include "ground/FileLogger.h"

namespace datacollector {

// Trace lines without their line numbers, which change with every edit of a source file.
inline std::string WithoutLineNumbers(const std::string& text) {
  return std::regex_replace(text, std::regex("LINE:[0-9]+"), "LINE:N");
}

// A START or END line of a function inside a longer text.
struct TraceLine {
  std::size_t begin;
  std::size_t end;
  std::string text;  // without the line number
  std::string function;
  bool start;
};

inline bool FindTraceLine(const std::string& text, std::size_t from, TraceLine& found) {
  static const std::regex kLine("FILE:([^:\n]*):LINE:[0-9]+:FUNCTION:([^:\n]*):(START|END)\n");
  for (std::size_t at = text.find("FILE:", from); at != std::string::npos; at = text.find("FILE:", at + 1)) {
    std::smatch match;
    const std::size_t lineEnd = std::min(text.find('\n', at), text.size() - 1) + 1;
    const auto begin = text.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(lineEnd);
    if (std::regex_match(begin, end, match, kLine)) {
      found = {at, lineEnd,
               "FILE:" + match[1].str() + ":LINE:N:FUNCTION:" + match[2].str() + ":" + match[3].str() + "\n",
               match[2].str(), match[3].str() == "START"};
      return true;
    }
  }
  return false;
}

// A trace in which all that a traced function prints is one line "<function>"; what a function of `open`
// prints stays. Line numbers are left out.
inline std::string Folded(const std::string& text, std::initializer_list<std::string_view> open = {}) {
  std::string folded;
  std::string inside;  // the function that is being folded
  std::size_t at = 0;
  TraceLine line;
  while (FindTraceLine(text, at, line)) {
    if (inside.empty()) {
      folded.append(text, at, line.begin - at);
      if (line.start && std::find(open.begin(), open.end(), line.function) == open.end()) {
        inside = line.function;
        folded += "<" + inside + ">\n";
      } else {
        folded += line.text;
      }
    } else if (!line.start && line.function == inside) {
      inside.clear();
    }
    at = line.end;
  }
  return inside.empty() ? folded.append(text, at) : folded + "(no end of " + inside + ")\n";
}

// The lines that a successful reading of the monotonic clock prints, with letters for its numbers.
inline std::string WithoutClock(const std::string& text) {
  return std::regex_replace(text, std::regex("CurrentTime sec = [0-9]+,  nsec = [0-9]+ "),
                            "CurrentTime sec = S,  nsec = N ");
}
inline constexpr const char* kClockLines = "clock_gettime() successful\nCurrentTime sec = S,  nsec = N \n";

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// The log file with "T" for each time stamp.
inline std::string LogText() {
  return std::regex_replace(ReadFile(kLogFile),
                            std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}: "), "T: ");
}

inline std::size_t CountOf(std::string_view wanted, std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(wanted); at != std::string_view::npos; at = text.find(wanted, at + 1)) {
    ++count;
  }
  return count;
}

// Far above what anything takes on a loaded machine with sanitizers: a wait ends when its condition holds.
inline constexpr std::chrono::seconds kPatience{20};

// Waits until `condition` holds; false when it never did.
inline bool WaitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace datacollector
