#include "gateway/harness/LogFile.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "ground/FileLogger.h"

namespace datacollector::gateway {

LogFile::LogFile() : watch_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  std::filesystem::create_directories(kLogDirectory);
  ::inotify_add_watch(watch_.Get(), kLogDirectory, IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE);
}

std::string LogFile::Text() {
  std::stringstream content;
  const std::ifstream file(kLogFile);
  if (file) {
    content << file.rdbuf();
  }
  return content.str();
}

std::vector<std::string> LogFile::Messages() {
  static const std::regex pattern(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: (.*))");
  std::vector<std::string> messages;
  std::istringstream lines(Text());
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    messages.push_back(std::regex_match(line, match, pattern) ? match[1].str() : line);
  }
  return messages;
}

bool LogFile::WaitFor(const std::string& text, std::size_t count, std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (true) {
    const std::vector<std::string> messages = Messages();
    if (std::count_if(messages.begin(), messages.end(), [&text](const std::string& message) {
          return message.starts_with(text);
        }) >= static_cast<std::ptrdiff_t>(count)) {
      return true;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd watched{watch_.Get(), POLLIN, 0};
    if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) <= 0) {
      return false;
    }
    std::array<char, 4096> events{};
    while (::read(watch_.Get(), events.data(), events.size()) > 0) {
    }
  }
}

}  // namespace datacollector::gateway
