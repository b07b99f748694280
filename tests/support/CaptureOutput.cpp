#include "support/CaptureOutput.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdio>

#include "ground/Trace.h"

namespace datacollector {
namespace {

void Flush() {
  FlushTrace();
  std::fflush(stdout);
  std::fflush(stderr);
}

}  // namespace

CapturedOutput::CapturedOutput() {
  Flush();
  for (Stream& stream : streams_) {
    stream.file = ::memfd_create("captured", MFD_CLOEXEC);
    stream.real = ::fcntl(stream.descriptor, F_DUPFD_CLOEXEC, 3);
    ::fcntl(stream.file, F_SETFL, O_APPEND);
    ::dup2(stream.file, stream.descriptor);
  }
}

CapturedOutput::~CapturedOutput() {
  Stop();
  for (const Stream& stream : streams_) {
    if (!asked_) {
      const std::string text = Read(stream);
      [[maybe_unused]] const ssize_t written = ::write(stream.descriptor, text.data(), text.size());
    }
    ::close(stream.file);
  }
}

std::string CapturedOutput::Read(const Stream& stream) {
  std::string text(static_cast<std::size_t>(::lseek(stream.file, 0, SEEK_END)), '\0');
  const ssize_t count = ::pread(stream.file, text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

std::string CapturedOutput::ReadSoFar(const Stream& stream) {
  Flush();
  return Read(stream);
}

std::string CapturedOutput::Ask(const Stream& stream) {
  Stop();
  asked_ = true;
  return Read(stream);
}

void CapturedOutput::Stop() {
  Flush();
  for (Stream& stream : streams_) {
    if (stream.real >= 0) {
      ::dup2(stream.real, stream.descriptor);
      ::close(stream.real);
      stream.real = -1;
    }
  }
}

}  // namespace datacollector
