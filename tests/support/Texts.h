// Traces, logs and files as texts that tests compare.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

namespace datacollector {

// Trace lines without their line numbers, which change with every edit of a source file.
std::string WithoutLineNumbers(const std::string& text);

// The trace lines, without their numbers, around what a function of a file prints.
std::string Traced(std::string_view file, std::string_view function, std::string_view text);

// A trace in which all that a traced function prints is one line "<function>"; what a function of `open`
// prints stays. Line numbers are left out.
std::string Folded(const std::string& text, std::initializer_list<std::string_view> open = {});

// The lines that a successful reading of the monotonic clock prints, with letters for its numbers.
std::string WithoutClock(const std::string& text);
inline constexpr const char* kClockLines = "clock_gettime() successful\nCurrentTime sec = S,  nsec = N \n";

// The whole of a file; empty where there is none. Writing replaces it.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

// The log file with "T" for each time stamp.
std::string LogText();

// How often `wanted` stands in `text`, overlaps counted.
std::size_t CountOf(std::string_view wanted, std::string_view text);

// Far above what anything takes on a loaded machine with sanitizers: a wait ends when its condition holds.
inline constexpr std::chrono::seconds kPatience{20};

// Waits until `condition` holds; false when it never did.
bool WaitUntil(const std::function<bool()>& condition);

}  // namespace datacollector
