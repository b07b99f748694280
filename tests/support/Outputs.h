// Where an output of the process can lead: a file in memory, a pipe that a test fills and empties.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace datacollector {

// Leads a stream of the process to `target` while it lives.
class Redirection {
 public:
  Redirection(int stream, int target);
  ~Redirection() { End(); }
  Redirection(const Redirection&) = delete;
  Redirection(Redirection&&) = delete;
  Redirection& operator=(const Redirection&) = delete;
  Redirection& operator=(Redirection&&) = delete;

  void End();

 private:
  int stream_;
  int real_;
};

// A file in memory that shows what has been written, as it is written.
class OutputFile {
 public:
  OutputFile();
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile(OutputFile&&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  OutputFile& operator=(OutputFile&&) = delete;

  int Descriptor() const { return descriptor_; }
  std::string Text() const;

 private:
  int descriptor_;
};

// A pipe, and how much it holds.
class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe(Pipe&&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  Pipe& operator=(Pipe&&) = delete;

  int Writer() const { return ends_[1]; }
  void CloseReader();

  // Reads until `count` bytes have come.
  std::string Read(std::size_t count) const;

  // Reads until the text has come that ends what is read.
  std::string ReadUntil(const std::string& end) const;

  // Takes out what Fill has put in.
  void Drain() const;

  // Makes the pipe so full that it takes no more.
  void Fill() const;
  bool IsFull() const;

 private:
  int Capacity() const;
  std::string FullBlock() const { return std::string(static_cast<std::size_t>(Capacity()), 'f'); }

  std::array<int, 2> ends_{-1, -1};
};

// A text in which every place is recognisable.
std::string NumberedLines(std::size_t bytes);

}  // namespace datacollector
