#include "unit/store/DiskFault.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <string>
#include <string_view>

namespace datacollector {
namespace {

bool IsIndex(int descriptor) {
  std::array<char, 512> target{};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  return length > 0 && std::string_view(target.data(), static_cast<std::size_t>(length)).ends_with("-shm");
}

void* MmapWithoutSharedMaps(void* address, std::size_t length, int protection, int flags, int descriptor,
                            off_t offset) {
  if (descriptor >= 0 && IsIndex(descriptor)) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  return ::mmap(address, length, protection, flags, descriptor, offset);
}

// The argument is a pointer or a number as wide as one, depending on the command.
int FcntlWithoutLocks(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_SETLK || command == F_SETLKW || command == F_GETLK) {
    errno = EINVAL;
    return -1;
  }
  return ::fcntl(descriptor, command, argument);
}

// A call of nullptr is the system's own again.
void SetCall(const char* name, sqlite3_syscall_ptr call) {
  sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
  ASSERT_NE(system, nullptr);
  EXPECT_EQ(system->xSetSystemCall(system, name, call), SQLITE_OK) << name;
}

}  // namespace

FaultyDisk::FaultyDisk(DiskFault fault) : fault_(fault) {
  if (fault_ == DiskFault::NoSharedMaps) {
    SetCall("mmap", reinterpret_cast<sqlite3_syscall_ptr>(MmapWithoutSharedMaps));
  } else if (fault_ == DiskFault::NoFileLocks) {
    SetCall("fcntl", reinterpret_cast<sqlite3_syscall_ptr>(FcntlWithoutLocks));
  }
}

FaultyDisk::~FaultyDisk() {
  SetCall("mmap", nullptr);
  SetCall("fcntl", nullptr);
}

}  // namespace datacollector
