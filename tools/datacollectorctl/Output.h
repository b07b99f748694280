// Where the program's output goes.
#pragma once

#include <string>

namespace datacollector::ctl {

// Writes a text to standard output, or as a whole to a file, so that a reader sees the old content or the new
// one. False, with a line on standard error, when that fails.
bool WriteOut(const std::string& text, const std::string& path);

// The width of the terminal at standard output; 0 where there is none.
std::size_t TerminalWidth();

}  // namespace datacollector::ctl
