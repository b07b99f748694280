#include "faults/preload/Intercept.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faults/preload/RealCall.h"

namespace datacollector::faults {
namespace {

using OpenCall = int(const char*, int, ...);

struct Shared {
  FaultControl* control = nullptr;
  int calls = -1;
};

// In place of a record: names what the disk of the databases lacks for good, "shared-memory" or "file-locks".
constexpr const char* kNatureVariable = "DATACOLLECTOR_DISK_LACKS";

// For whole suites that run on a poor disk.
FaultControl* ControlOf(std::string_view lacks) {
  static FaultControl control;
  constexpr std::string_view kFolder = "/vorl/disk/AppData/K740/DataCollector/Db";
  constexpr std::string_view kSharedMemory = "-shm";
  kFolder.copy(control.folder.data(), control.folder.size() - 1);
  FaultRule& rule = control.rules[1];
  rule.first = 1;
  rule.last = 0xffffffffU;
  if (lacks == "shared-memory") {
    kSharedMemory.copy(rule.ending.data(), rule.ending.size() - 1);
    rule.error = ENODEV;
    rule.kinds = kMap;
  } else if (lacks == "file-locks") {
    rule.error = EINVAL;
    rule.kinds = kLock;
  }
  return &control;
}

// The record and the file of calls; without them nothing is watched.
Shared OpenShared() {
  Shared shared;
  const char* name = std::getenv(kControlVariable);
  const char* lacks = std::getenv(kNatureVariable);
  if (name == nullptr) {
    shared.control = lacks == nullptr ? nullptr : ControlOf(lacks);
    return shared;
  }
  OpenCall* const realOpen = RealCall<OpenCall>("open64");
  auto* const realMap = RealCall<void*(void*, std::size_t, int, int, int, off64_t)>("mmap64");
  const int file = realOpen(name, O_RDWR | O_CLOEXEC);
  if (file < 0) {
    return shared;
  }
  void* memory = realMap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  char calls[512];
  std::snprintf(calls, sizeof calls, "%s.calls", name);
  shared.calls = realOpen(calls, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  shared.control = memory == MAP_FAILED ? nullptr : static_cast<FaultControl*>(memory);
  return shared;
}

const Shared& TheShared() {
  static const Shared shared = OpenShared();
  return shared;
}

std::recursive_mutex& OneAtATime() {
  static std::recursive_mutex mutex;
  return mutex;
}

bool IsBelowFolder(const Path& path) {
  const FaultControl* control = TheShared().control;
  if (control == nullptr) {
    return false;
  }
  const std::string_view folder = control->folder.data();
  const std::string_view name = path.view();
  return !folder.empty() && name.substr(0, folder.size()) == folder &&
         (name.size() == folder.size() || name[folder.size()] == '/');
}

// 0: the call goes its way.
std::int32_t Judge(CallKind kind, const Path& path) {
  for (FaultRule& rule : TheShared().control->rules) {
    const std::string_view ending = rule.ending.data();
    const std::string_view name = path.view();
    if ((rule.kinds & kind) == 0 || name.size() < ending.size() ||
        name.substr(name.size() - ending.size()) != ending) {
      continue;
    }
    const std::uint32_t number = ++rule.seen;
    if (number >= rule.first && number <= rule.last) {
      ++rule.failed;
      return rule.error;
    }
  }
  return 0;
}

}  // namespace

const FaultControl* TheControl() { return TheShared().control; }

bool IsWatched(int descriptor, Path& path) {
  if (TheShared().control == nullptr) {
    return false;
  }
  const int error = errno;
  char link[32];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const ssize_t length = ::readlink(link, path.characters, sizeof path.characters);
  errno = error;
  path.length = length > 0 ? static_cast<std::size_t>(length) : 0;
  constexpr std::string_view kDeleted = " (deleted)";
  const std::string_view name = path.view();
  const bool nameless =
      name.size() > kDeleted.size() && name.substr(name.size() - kDeleted.size()) == kDeleted;
  return !nameless && IsBelowFolder(path);
}

bool IsWatched(int folder, const char* name, Path& path) {
  if (TheShared().control == nullptr || name == nullptr) {
    return false;
  }
  const int error = errno;
  std::size_t used = 0;
  if (name[0] != '/') {
    char link[32] = "/proc/self/cwd";
    if (folder != AT_FDCWD) {
      std::snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
    }
    const ssize_t length = ::readlink(link, path.characters, sizeof path.characters - 1);
    used = length > 0 ? static_cast<std::size_t>(length) : 0;
    path.characters[used++] = '/';
  }
  while (name[0] == '.' && name[1] == '/') {
    name += 2;
  }
  // Doubled slashes and one at the end would make two names of one file.
  for (const char* next = name; *next != '\0' && used < sizeof path.characters; ++next) {
    if (*next != '/' || used == 0 || path.characters[used - 1] != '/') {
      path.characters[used++] = *next;
    }
  }
  while (used > 1 && path.characters[used - 1] == '/') {
    --used;
  }
  path.length = used;
  errno = error;
  return IsBelowFolder(path);
}

WatchedCall::WatchedCall(CallKind kind, const Path& path)
    : path_(path), lock_(OneAtATime()), verdict_(Judge(kind, path)) {}

bool WatchedCall::Fails() {
  if (verdict_ > 0) {
    errno = verdict_;
  }
  return verdict_ > 0;
}

void WatchedCall::Record(Change change, std::uint64_t offset, const void* data, std::size_t length) const {
  Append({change, static_cast<std::uint32_t>(path_.length), 0, static_cast<std::uint32_t>(length), offset},
         {}, data);
}

void WatchedCall::Record(Change change, const Path& second) const {
  Append({change, static_cast<std::uint32_t>(path_.length), static_cast<std::uint32_t>(second.length), 0, 0},
         second.view(), nullptr);
}

// In one call, so that the entries of several processes never mix.
void WatchedCall::Append(const ChangeHeader& header, std::string_view second, const void* data) const {
  if (TheShared().control->recording == 0) {
    return;
  }
  const int error = errno;
  iovec parts[] = {{const_cast<ChangeHeader*>(&header), sizeof header},
                   {const_cast<char*>(path_.characters), path_.length},
                   {const_cast<char*>(second.data()), second.size()},
                   {const_cast<void*>(data), header.dataLength}};
  if (::writev(TheShared().calls, parts, 4) < 0) {
    std::perror("the file of calls");
  }
  errno = error;
}

}  // namespace datacollector::faults
