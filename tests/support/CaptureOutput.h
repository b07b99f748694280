// Capturing of what the code under test prints.
#pragma once

#include <unistd.h>

#include <array>
#include <string>

namespace datacollector {

// Takes standard output and standard error of the process from its making until Out or Err is asked for, so
// that the assertions that follow are seen. What nobody asked for goes to the real outputs in the end.
class CapturedOutput {
 public:
  CapturedOutput();
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput(CapturedOutput&&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  CapturedOutput& operator=(CapturedOutput&&) = delete;

  // All that was captured on standard output (standard error). Ends the capture.
  std::string Out() { return Ask(streams_[0]); }
  std::string Err() { return Ask(streams_[1]); }

  // The same while the capture goes on, for tests that wait for a text of another thread.
  std::string OutSoFar() const { return ReadSoFar(streams_[0]); }
  std::string ErrSoFar() const { return ReadSoFar(streams_[1]); }

 private:
  struct Stream {
    int descriptor;
    int file = -1;  // holds what is captured
    int real = -1;  // where `descriptor` led before; -1 after the capture
  };

  static std::string Read(const Stream& stream);
  static std::string ReadSoFar(const Stream& stream);
  std::string Ask(const Stream& stream);
  void Stop();

  std::array<Stream, 2> streams_ = {{{STDOUT_FILENO}, {STDERR_FILENO}}};
  bool asked_ = false;
};

}  // namespace datacollector
