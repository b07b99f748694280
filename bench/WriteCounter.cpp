// With large offsets pwrite is another name of pwrite64; here each is defined.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "WriteCounter.h"

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

datacollector::bench::Writes writes{};

ssize_t CountedWrite(int descriptor, const void* bytes, size_t count, off64_t offset) {
  const ssize_t written = ::syscall(SYS_pwrite64, descriptor, bytes, count, offset);
  writes.bytes += written > 0 ? written : 0;
  return written;
}

}  // namespace

// The executable's definitions stand before the C library's, whose parameter names are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int fsync(int descriptor) {
  ++writes.syncs;
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int fdatasync(int descriptor) {
  ++writes.syncs;
  return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}

ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
  return CountedWrite(descriptor, bytes, count, offset);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t count, off64_t offset) {
  return CountedWrite(descriptor, bytes, count, offset);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace datacollector::bench {

Writes WritesSoFar() { return writes; }

}  // namespace datacollector::bench
