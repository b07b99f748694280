// The C library's calls that change files, or that a disk may refuse.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "faults/preload/Intercept.h"
#include "faults/preload/RealCall.h"

using datacollector::faults::Change;
using datacollector::faults::IsWatched;
using datacollector::faults::Path;
using datacollector::faults::WatchedCall;
namespace faults = datacollector::faults;

namespace {

int OpenWatched(int folder, const char* name, int flags, mode_t mode) {
  DATACOLLECTOR_REAL("openat64", int(int, const char*, int, ...));
  Path path;
  if (!IsWatched(folder, name, path)) {
    return real(folder, name, flags, mode);
  }
  WatchedCall call(faults::kOpen, path);
  if (call.Fails()) {
    return -1;
  }
  const bool creates = (flags & O_CREAT) != 0 && ::faccessat(folder, name, F_OK, 0) != 0;
  const int file = real(folder, name, flags, mode);
  if (file >= 0 && creates) {
    call.Record(Change::Create);
  }
  if (file >= 0 && (flags & O_TRUNC) != 0) {
    call.Record(Change::Truncate);
  }
  return file;
}

template <typename Real>
ssize_t Write(Real real, int file, const void* data, size_t length, const off64_t* offset) {
  Path path;
  if (!IsWatched(file, path)) {
    return real(length);
  }
  WatchedCall call(faults::kWrite, path);
  if (call.Fails()) {
    return -1;
  }
  if (call.IsOnlyClaimed()) {
    return static_cast<ssize_t>(length);
  }
  const off64_t at = offset != nullptr                          ? *offset
                     : (::fcntl(file, F_GETFL) & O_APPEND) != 0 ? ::lseek64(file, 0, SEEK_END)
                                                                : ::lseek64(file, 0, SEEK_CUR);
  const ssize_t written = real(call.IsHalved() ? (length + 1) / 2 : length);
  if (written > 0) {
    call.Record(Change::Write, static_cast<std::uint64_t>(at), data, static_cast<size_t>(written));
  }
  return written;
}

template <typename Real>
int Sync(Real real, int file) {
  Path path;
  if (!IsWatched(file, path)) {
    return real(file);
  }
  WatchedCall call(faults::kSync, path);
  if (call.Fails()) {
    return -1;
  }
  if (call.IsOnlyClaimed()) {
    return 0;
  }
  const int result = real(file);
  if (result == 0) {
    call.Record(Change::Sync);
  }
  return result;
}

int Rename(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  DATACOLLECTOR_REAL("renameat2", int(int, const char*, int, const char*, unsigned));
  Path source;
  Path target;
  if (!IsWatched(fromFolder, from, source) || !IsWatched(toFolder, to, target)) {
    return real(fromFolder, from, toFolder, to, flags);
  }
  WatchedCall call(faults::kRename, source);
  if (call.Fails()) {
    return -1;
  }
  const int result = real(fromFolder, from, toFolder, to, flags);
  if (result == 0) {
    call.Record(Change::Rename, target);
  }
  return result;
}

int Unlink(int folder, const char* name, int flags) {
  DATACOLLECTOR_REAL("unlinkat", int(int, const char*, int));
  Path path;
  if (!IsWatched(folder, name, path)) {
    return real(folder, name, flags);
  }
  WatchedCall call(faults::kUnlink, path);
  if (call.Fails()) {
    return -1;
  }
  const int result = real(folder, name, flags);
  if (result == 0 && (flags & AT_REMOVEDIR) == 0) {
    call.Record(Change::Unlink);
  }
  return result;
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

// Giving a lock back can't be refused: it takes nothing from anybody.
bool AsksForLock(int command, const void* argument) {
  const bool about = command == F_SETLK || command == F_SETLKW || command == F_GETLK ||
                     command == F_OFD_SETLK || command == F_OFD_SETLKW || command == F_OFD_GETLK;
  return about && static_cast<const struct flock*>(argument)->l_type != F_UNLCK;
}

int Control(int file, int command, void* argument) {
  DATACOLLECTOR_REAL("fcntl64", int(int, int, ...));
  Path path;
  if (AsksForLock(command, argument) && IsWatched(file, path) && WatchedCall(faults::kLock, path).Fails()) {
    return -1;
  }
  return real(file, command, argument);
}

void* Map(void* address, size_t length, int protection, int flags, int file, off64_t offset) {
  DATACOLLECTOR_REAL("mmap64", void*(void*, size_t, int, int, int, off64_t));
  Path path;
  if (file >= 0 && IsWatched(file, path) && WatchedCall(faults::kMap, path).Fails()) {
    return MAP_FAILED;
  }
  return real(address, length, protection, flags, file, offset);
}

}  // namespace

extern "C" {

int open(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenWatched(AT_FDCWD, name, flags, mode);
}

int open64(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenWatched(AT_FDCWD, name, flags | O_LARGEFILE, mode);
}

int openat(int folder, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenWatched(folder, name, flags, mode);
}

ssize_t write(int file, const void* data, size_t length) {
  DATACOLLECTOR_REAL("write", ssize_t(int, const void*, size_t));
  return Write([&](size_t taken) { return real(file, data, taken); }, file, data, length, nullptr);
}

ssize_t pwrite64(int file, const void* data, size_t length, off64_t offset) {
  DATACOLLECTOR_REAL("pwrite64", ssize_t(int, const void*, size_t, off64_t));
  return Write([&](size_t taken) { return real(file, data, taken, offset); }, file, data, length, &offset);
}

int fsync(int file) {
  DATACOLLECTOR_REAL("fsync", int(int));
  return Sync(real, file);
}

int fdatasync(int file) {
  DATACOLLECTOR_REAL("fdatasync", int(int));
  return Sync(real, file);
}

int ftruncate64(int file, off64_t length) {
  DATACOLLECTOR_REAL("ftruncate64", int(int, off64_t));
  Path path;
  if (!IsWatched(file, path)) {
    return real(file, length);
  }
  WatchedCall call(faults::kTruncate, path);
  if (call.Fails()) {
    return -1;
  }
  const int result = real(file, length);
  if (result == 0) {
    call.Record(Change::Truncate, static_cast<std::uint64_t>(length));
  }
  return result;
}

int rename(const char* from, const char* to) noexcept { return Rename(AT_FDCWD, from, AT_FDCWD, to, 0); }

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  return Rename(fromFolder, from, toFolder, to, 0);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  return Rename(fromFolder, from, toFolder, to, flags);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  DATACOLLECTOR_REAL("linkat", int(int, const char*, int, const char*, int));
  Path source;
  Path target;
  const int result = real(fromFolder, from, toFolder, to, flags);
  if (result == 0 && IsWatched(fromFolder, from, source) && IsWatched(toFolder, to, target)) {
    WatchedCall(faults::kRename, source).Record(Change::Link, target);
  }
  return result;
}

int unlink(const char* name) noexcept { return Unlink(AT_FDCWD, name, 0); }

int unlinkat(int folder, const char* name, int flags) noexcept { return Unlink(folder, name, flags); }

int mkdir(const char* name, mode_t mode) noexcept {
  DATACOLLECTOR_REAL("mkdir", int(const char*, mode_t));
  Path path;
  if (IsWatched(AT_FDCWD, name, path) && WatchedCall(faults::kMakeFolder, path).Fails()) {
    return -1;
  }
  return real(name, mode);
}

void* mmap64(void* address, size_t length, int protection, int flags, int file, off64_t offset) noexcept {
  return Map(address, length, protection, flags, file, offset);
}

int fcntl64(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Control(file, command, argument);
}

}  // extern "C"
