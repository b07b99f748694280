#include "support/Outputs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "ground/Trace.h"

namespace datacollector {

Redirection::Redirection(int stream, int target)
    : stream_(stream), real_(::fcntl(stream, F_DUPFD_CLOEXEC, 3)) {
  ::dup2(target, stream_);
}

void Redirection::End() {
  if (real_ >= 0) {
    ::dup2(real_, stream_);
    ::close(real_);
    real_ = -1;
  }
}

OutputFile::OutputFile() : descriptor_(::memfd_create("output", MFD_CLOEXEC)) {
  ::fcntl(descriptor_, F_SETFL, O_APPEND);
  FlushTrace();
}

OutputFile::~OutputFile() { ::close(descriptor_); }

std::string OutputFile::Text() const {
  std::string text(static_cast<std::size_t>(::lseek(descriptor_, 0, SEEK_END)), '\0');
  const ssize_t count = ::pread(descriptor_, text.data(), text.size(), 0);
  EXPECT_EQ(count, static_cast<ssize_t>(text.size()));
  return text;
}

Pipe::Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }

Pipe::~Pipe() {
  CloseReader();
  ::close(ends_[1]);
}

void Pipe::CloseReader() {
  if (ends_[0] >= 0) {
    ::close(ends_[0]);
    ends_[0] = -1;
  }
}

std::string Pipe::Read(std::size_t count) const {
  std::string text;
  std::array<char, 4096> piece;
  while (text.size() < count) {
    const ssize_t got = ::read(ends_[0], piece.data(), std::min(piece.size(), count - text.size()));
    if (got <= 0) {
      break;
    }
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

std::string Pipe::ReadUntil(const std::string& end) const {
  std::string text;
  std::array<char, 4096> piece;
  while (!text.ends_with(end)) {
    const ssize_t got = ::read(ends_[0], piece.data(), piece.size());
    if (got <= 0) {
      break;
    }
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

void Pipe::Drain() const { EXPECT_EQ(Read(static_cast<std::size_t>(Capacity())), FullBlock()); }

void Pipe::Fill() const { EXPECT_EQ(::write(ends_[1], FullBlock().data(), FullBlock().size()), Capacity()); }

bool Pipe::IsFull() const {
  int held = 0;
  return ::ioctl(ends_[0], FIONREAD, &held) == 0 && held == Capacity();
}

int Pipe::Capacity() const { return ::fcntl(ends_[1], F_GETPIPE_SZ); }

std::string NumberedLines(std::size_t bytes) {
  std::string text;
  for (int line = 0; text.size() < bytes; ++line) {
    text += std::to_string(line) + "\n";
  }
  return text;
}

}  // namespace datacollector
