// Counts what a process asks of the disk: preloaded into it, it adds to the counters in the file that
// WRITE_COUNT_FILE names, so that another process can read them at any time.

// With large offsets pwrite is another name of pwrite64; here each is defined.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace {

using Counter = std::atomic<std::int64_t>;

// As WriteCounter.h's Writes, for whoever reads the file.
struct Counters {
  Counter syncs;
  Counter bytes;
};

Counters* MapCounters() {
  const char* path = std::getenv("WRITE_COUNT_FILE");
  const int file = path == nullptr ? -1 : ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0 || ::ftruncate(file, sizeof(Counters)) != 0) {
    return nullptr;
  }
  void* memory = ::mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return memory == MAP_FAILED ? nullptr : static_cast<Counters*>(memory);
}

void Count(Counter Counters::*counter, std::int64_t amount) {
  static Counters* const counters = MapCounters();
  if (counters != nullptr) {
    counters->*counter += amount;
  }
}

template <typename Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

using Sync = int (*)(int);
using Write = ssize_t (*)(int, const void*, size_t, off64_t);

ssize_t CountWritten(ssize_t written) {
  Count(&Counters::bytes, written > 0 ? written : 0);
  return written;
}

}  // namespace

// These stand before the C library's, whose parameter names are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int fsync(int descriptor) {
  static const auto real = Real<Sync>("fsync");
  Count(&Counters::syncs, 1);
  return real(descriptor);
}

int fdatasync(int descriptor) {
  static const auto real = Real<Sync>("fdatasync");
  Count(&Counters::syncs, 1);
  return real(descriptor);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
  static const auto real = Real<Write>("pwrite64");
  return CountWritten(real(descriptor, bytes, count, offset));
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t count, off64_t offset) {
  static const auto real = Real<Write>("pwrite64");
  return CountWritten(real(descriptor, bytes, count, offset));
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
