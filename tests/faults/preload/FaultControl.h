// What a test tells the programs that run with the fault library in front of the C library.
//
// The record lies in a file that the test and every such program have mapped, so that a rule takes effect at
// the next call of a daemon that runs. Written by the test; the programs count in it.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace datacollector::faults {

// Names the file with the record; the recorded calls stand in the same name with ".calls".
inline constexpr const char* kControlVariable = "DATACOLLECTOR_FAULT_CONTROL";

enum CallKind : std::uint32_t {
  kOpen = 1U << 0,
  kWrite = 1U << 1,
  kSync = 1U << 2,
  kTruncate = 1U << 3,
  kRename = 1U << 4,
  kUnlink = 1U << 5,
  kMap = 1U << 6,
  kLock = 1U << 7,
  kMakeFolder = 1U << 8,
};
inline constexpr std::uint32_t kEveryCall = (1U << 9) - 1;

// In place of an error number: what the call does instead of failing.
inline constexpr std::int32_t kHalfWritten = -1;  // a write takes half of its bytes
inline constexpr std::int32_t kOnlyClaimed = -2;  // the call reports success and does nothing

// Calls of these kinds on files whose name ends with `ending` fail from the `first`th to the `last`th one,
// counted from 1.
struct FaultRule {
  std::atomic<std::uint32_t> kinds;  // of CallKind; 0: no rule
  std::atomic<std::int32_t> error;   // an error number, or one of the above
  std::atomic<std::uint32_t> first;
  std::atomic<std::uint32_t> last;
  std::atomic<std::uint32_t> seen;    // calls that the rule was asked about
  std::atomic<std::uint32_t> failed;  // calls that it changed
  std::array<char, 32> ending;        // empty: every file
};

struct FaultControl {
  std::atomic<std::uint32_t> recording;    // not 0: changes are written to the file of calls
  std::atomic<std::uint32_t> brokerPort;   // not 0: who connects to the broker's port gets this one
  std::atomic<std::int64_t> secondsAhead;  // added to the time of day; the monotonic clock stays
  std::array<char, 256> folder;            // only what lies in or below it is touched and recorded
  std::array<FaultRule, 4> rules;
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "it is shared between processes");

// One change as it stands in the file of calls; the path, the second path and the data follow.
enum class Change : std::uint32_t { Write, Truncate, Sync, Create, Rename, Link, Unlink };

struct ChangeHeader {
  Change change;
  std::uint32_t pathLength;
  std::uint32_t secondPathLength;  // the new name of Rename and Link
  std::uint32_t dataLength;        // of Write
  std::uint64_t offset;            // of Write; the length of Truncate
};

}  // namespace datacollector::faults
