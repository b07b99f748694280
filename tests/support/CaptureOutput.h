// Capturing of what the code under test prints.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

#include "ground/Trace.h"

namespace datacollector {

// Takes standard output and standard error of the process from its making until Out or Err is asked for, so
// that the assertions that follow are seen. What nobody asked for goes to the real outputs in the end.
class CapturedOutput {
 public:
  CapturedOutput() {
    Flush();
    for (Stream& stream : streams_) {
      stream.file = ::memfd_create("captured", MFD_CLOEXEC);
      stream.real = ::fcntl(stream.descriptor, F_DUPFD_CLOEXEC, 3);
      ::fcntl(stream.file, F_SETFL, O_APPEND);
      ::dup2(stream.file, stream.descriptor);
    }
  }
  ~CapturedOutput() {
    Stop();
    for (const Stream& stream : streams_) {
      if (!asked_) {
        const std::string text = Read(stream);
        [[maybe_unused]] const ssize_t written = ::write(stream.descriptor, text.data(), text.size());
      }
      ::close(stream.file);
    }
  }
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

  static void Flush() {
    FlushTrace();
    std::fflush(stdout);
    std::fflush(stderr);
  }

  static std::string Read(const Stream& stream) {
    std::string text(static_cast<std::size_t>(::lseek(stream.file, 0, SEEK_END)), '\0');
    const ssize_t count = ::pread(stream.file, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }

  static std::string ReadSoFar(const Stream& stream) {
    Flush();
    return Read(stream);
  }

  std::string Ask(const Stream& stream) {
    Stop();
    asked_ = true;
    return Read(stream);
  }

  void Stop() {
    Flush();
    for (Stream& stream : streams_) {
      if (stream.real >= 0) {
        ::dup2(stream.real, stream.descriptor);
        ::close(stream.real);
        stream.real = -1;
      }
    }
  }

  std::array<Stream, 2> streams_ = {{{STDOUT_FILENO}, {STDERR_FILENO}}};
  bool asked_ = false;
};

}  // namespace datacollector
