// What every intercepted call does: asks whether it shall fail, and records what it has changed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <string_view>

#include "faults/preload/FaultControl.h"

namespace datacollector::faults {

// Fixed room for a path: intercepted calls must not allocate.
struct Path {
  char characters[512];
  std::size_t length = 0;
  std::string_view view() const { return {characters, length}; }
};

// Whether a file lies below the watched folder. The path is made absolute; a file that has no name any more
// isn't watched.
bool IsWatched(int descriptor, Path& path);
bool IsWatched(int folder, const char* name, Path& path);

// What the test has set; nullptr where no test watches.
const FaultControl* TheControl();

// One call on a watched file, from its question to its record; others wait meanwhile, so that the record has
// the calls in their order.
class WatchedCall {
 public:
  WatchedCall(CallKind kind, const Path& path);
  WatchedCall(const WatchedCall&) = delete;
  WatchedCall& operator=(const WatchedCall&) = delete;

  bool Fails();  // true: errno is set, the call returns -1 or its like
  bool IsHalved() const { return verdict_ == kHalfWritten; }
  bool IsOnlyClaimed() const { return verdict_ == kOnlyClaimed; }

  void Record(Change change, std::uint64_t offset = 0, const void* data = nullptr,
              std::size_t length = 0) const;
  void Record(Change change, const Path& second) const;

 private:
  void Append(const ChangeHeader& header, std::string_view second, const void* data) const;

  const Path& path_;
  std::unique_lock<std::recursive_mutex> lock_;
  std::int32_t verdict_;
};

}  // namespace datacollector::faults
