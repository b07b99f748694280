// The daemon's log file as it grows.
#pragma once

#include <string>
#include <vector>

#include "gateway/harness/ChildProcess.h"
#include "gateway/harness/Deadline.h"

namespace datacollector::gateway {

class LogFile {
 public:
  // Makes the log's folder when it is missing, to watch it from the start.
  LogFile();

  // The messages so far, without their time stamps. A line without one is returned whole.
  static std::vector<std::string> Messages();

  static std::string Text();

  // Waits until a message that starts with `text` stands in the log `count` times.
  bool WaitFor(const std::string& text, std::size_t count = 1,
               std::chrono::milliseconds patience = kPatience) const;

 private:
  Descriptor watch_;  // readable after a change in the folder
};

}  // namespace datacollector::gateway
