#include "support/Texts.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

#include "ground/FileLogger.h"

namespace datacollector {
namespace {

// A START or END line of a function inside a longer text.
struct TraceLine {
  std::size_t begin;
  std::size_t end;
  std::string text;  // without the line number
  std::string function;
  bool start;
};

bool FindTraceLine(const std::string& text, std::size_t from, TraceLine& found) {
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

}  // namespace

std::string WithoutLineNumbers(const std::string& text) {
  return std::regex_replace(text, std::regex("LINE:[0-9]+"), "LINE:N");
}

std::string Traced(std::string_view file, std::string_view function, std::string_view text) {
  const std::string line = "FILE:" + std::string(file) + ":LINE:N:FUNCTION:" + std::string(function);
  return (line + ":START\n").append(text) + line + ":END\n";
}

std::string Folded(const std::string& text, std::initializer_list<std::string_view> open) {
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

std::string WithoutClock(const std::string& text) {
  return std::regex_replace(text, std::regex("CurrentTime sec = [0-9]+,  nsec = [0-9]+ "),
                            "CurrentTime sec = S,  nsec = N ");
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string LogText() {
  return std::regex_replace(ReadFile(kLogFile),
                            std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}: "), "T: ");
}

std::size_t CountOf(std::string_view wanted, std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(wanted); at != std::string_view::npos; at = text.find(wanted, at + 1)) {
    ++count;
  }
  return count;
}

bool WaitUntil(const std::function<bool()>& condition) {
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
