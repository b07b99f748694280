// Counts the syncs of a process: preloaded into it, it adds to a counter in the file that SYNC_COUNT_FILE
// names, so that another process can read the count at any time.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace {

using Counter = std::atomic<std::uint64_t>;

Counter* MapCounter() {
  const char* path = std::getenv("SYNC_COUNT_FILE");
  const int file = path == nullptr ? -1 : ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0 || ::ftruncate(file, sizeof(Counter)) != 0) {
    return nullptr;
  }
  void* memory = ::mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return memory == MAP_FAILED ? nullptr : static_cast<Counter*>(memory);
}

int CountAndCall(const char* name, int descriptor) {
  static Counter* const counter = MapCounter();
  if (counter != nullptr) {
    ++*counter;
  }
  using Sync = int (*)(int);
  const auto real = reinterpret_cast<Sync>(::dlsym(RTLD_NEXT, name));
  return real(descriptor);
}

}  // namespace

extern "C" {
int fsync(int descriptor) { return CountAndCall("fsync", descriptor); }
int fdatasync(int descriptor) { return CountAndCall("fdatasync", descriptor); }
}
