#include "config/ConfigDigest.h"

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>

#include "config/LibConfigRead.h"

namespace datacollector {
namespace {

constexpr std::uint64_t kOffset = 0xcbf29ce484222325U;
constexpr std::uint64_t kPrime = 0x100000001b3U;

// Stand behind a file and in place of a missing one, so that no two sets of files read as the same bytes.
constexpr char kEndOfFile = '\0';
constexpr char kNoFile = '\1';

// No configuration file is longer; a pipe or a device in its place must not keep the daemon from starting.
constexpr std::size_t kMaxBytes = std::size_t{1} << 20U;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void Add(std::uint64_t& digest, char byte) { digest = (digest ^ static_cast<unsigned char>(byte)) * kPrime; }

void AddFile(std::uint64_t& digest, const char* path) {
  struct stat status {};
  const bool regular = ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
  const std::unique_ptr<std::FILE, CloseFile> file(regular ? std::fopen(path, "re") : nullptr);
  if (!file) {
    Add(digest, kNoFile);
    return;
  }
  std::array<char, 4096> block;
  for (std::size_t total = 0; total < kMaxBytes;) {
    const std::size_t read = std::fread(block.data(), 1, block.size(), file.get());
    for (std::size_t index = 0; index < read; ++index) {
      Add(digest, block[index]);
    }
    if (read < block.size()) {
      break;
    }
    total += read;
  }
  Add(digest, kEndOfFile);
}

}  // namespace

std::uint64_t DigestOfConfiguration(const char* root) {
  std::uint64_t digest = kOffset;
  for (const char* path : ConfigFilePaths()) {
    AddFile(digest, RootedPath(root, path).c_str());
  }
  return digest;
}

}  // namespace datacollector
