// The trace: what the daemon tells on standard output while it works, and its errors on standard error.
//
// Standard output is collected in one buffer for the whole process and written when an event ends (a message
// is handled, a round of a loop is over, a thread goes to sleep) or when the buffer is full, so that a record
// costs a handful of writes and not one per line. Neither output can stop the daemon by not being read: see
// OutputBuffer. Every function here may be called from any thread.
#pragma once

#include <chrono>
#include <string_view>

#include "ground/CodePlace.h"

namespace datacollector {

// Prints a formatted text exactly as it stands, without adding a line end.
[[gnu::format(printf, 1, 2)]] void Print(const char* format, ...);

// Prints a text exactly as it stands, without adding a line end.
void PrintText(std::string_view text);

// Prints a text and a line end.
void PrintLine(std::string_view text);

// Prints a formatted text on standard error at once, after everything printed so far on standard output.
[[gnu::format(printf, 1, 2)]] void PrintError(const char* format, ...);

// Prints "<what>: <text of errno>" on standard error, like perror.
void PrintSystemError(const char* what);

// Ends an event: writes everything that has been printed so far.
void FlushTrace();

// From now on printing and flushing of the calling thread gives up at `deadline` instead of waiting for a
// reader that may never read; what can't be written by then is dropped. For the thread that ends the process.
void LimitTraceOfThisThread(std::chrono::steady_clock::time_point deadline);

// Prints the START line of a function when it is made, and its END line when the function is left.
class FunctionTrace {
 public:
  explicit FunctionTrace(const char* function, CodePlace place = CodePlace::Current())
      : function_(function), place_(place) {
    Print("FILE:%s:LINE:%d:FUNCTION:%s:START\n", SourceFileName(place_), place_.line, function_);
  }
  ~FunctionTrace() {
    if (end_) {
      Print("FILE:%s:LINE:%d:FUNCTION:%s:END\n", SourceFileName(place_), place_.line, function_);
    }
  }
  FunctionTrace(const FunctionTrace&) = delete;
  FunctionTrace(FunctionTrace&&) = delete;
  FunctionTrace& operator=(const FunctionTrace&) = delete;
  FunctionTrace& operator=(FunctionTrace&&) = delete;

  // For the few exits that print no END line.
  void SkipEnd() { end_ = false; }

 private:
  const char* function_;
  CodePlace place_;
  bool end_ = true;
};

}  // namespace datacollector
