// The figures that only the running daemon knows, in a small file in memory that other programs map or read.
//
// The file is made anew at start. They are counted in a record of the process's own, and each that changes is
// written into its place in the file: a store to a mapping would end the process once another program has cut
// the file short. Where the file can't be made or written nothing else changes. Every function but
// OpenStatusFile may be called from any thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "ground/SourceKind.h"

namespace datacollector {

inline constexpr const char* kStatusFile = "/tmp/DataCollector.status";

inline constexpr std::uint32_t kStatusMagic = 0x53434344;  // "DCCS" in little-endian order
inline constexpr std::uint32_t kStatusLayout = 1;          // grows with every change of StatusRecord

enum ThreadId : std::size_t { kMainThread, kNetworkThread, kForwardingThread };
inline constexpr std::size_t kThreads = 3;

using StatusWord = std::atomic<std::uint32_t>;
static_assert(StatusWord::is_always_lock_free);

// When a thread last went through its loop. Monotonic and wall clock, in seconds. Written by the thread.
struct HeartbeatFigures {
  StatusWord monotonic;
  StatusWord wall;
};

// One kind since the start of the daemon. Times are seconds since the Epoch, 0 for never.
struct KindFigures {
  StatusWord stored;  // the first four: written by network
  StatusWord storedAt;
  StatusWord refused;
  StatusWord refusedAt;
  StatusWord handedOver;  // repetitions included; written by forwarding, like the two behind it
  StatusWord repeated;    // the record that was handed over before, once more
  StatusWord lastHandedOver;
  StatusWord confirmed;  // statements that ran, misfits included; this and all behind it: written by network
  StatusWord confirmedAt;
  StatusWord misfit;  // confirmations that fitted no row
  StatusWord misfitAt;
  StatusWord evicted;  // unsent rows that made room for new ones
  StatusWord evictedAt;
};

// The file's content. Plain words of 32 bits, in the byte order of the machine.
struct StatusRecord {
  StatusWord magic;  // stored last, when the members up to `threads` are in place
  std::uint32_t layout;
  std::uint32_t size;
  std::uint32_t pid;
  std::uint32_t startedWall;       // seconds since the Epoch
  std::uint32_t startedMonotonic;  // seconds
  std::array<char, 32> version;
  std::array<StatusWord, 2> digest;  // of the configuration, upper half first; 0 until it is known
  std::array<HeartbeatFigures, kThreads> threads;
  StatusWord connected;         // 1: the broker's connection stands; written by network
  StatusWord connectedChanged;  // seconds since the Epoch
  StatusWord gate;              // 1: the send gate was open when the forwarding thread last saw it
  StatusWord wanUp;             // likewise
  std::array<KindFigures, kSourceKinds> kinds;
};
static_assert(sizeof(StatusRecord) <= 4096);

// Whether a mapped file of `bytes` bytes is a status record that this program understands.
inline bool IsStatusRecord(const StatusRecord& record, std::size_t bytes) {
  return bytes >= sizeof(StatusRecord) && record.magic.load(std::memory_order_acquire) == kStatusMagic &&
         record.layout == kStatusLayout && record.size == sizeof(StatusRecord);
}

// Makes the file and fills in what is known at start. Main thread, before any other thread exists.
void OpenStatusFile(const char* path = kStatusFile);

// The configuration's digest, once it has been read. Main thread.
void SetConfigurationDigest(std::uint64_t digest);

// The main thread's also makes a file whole again that has been cut short.
void Heartbeat(ThreadId thread);
void RecordConnection(bool connected);
void RecordForwarding(bool gateOpen, bool wanUp);

void CountStored(SourceKind kind);
void CountRefused(SourceKind kind);
void CountHandedOver(SourceKind kind, std::int32_t recordNumber);
void CountConfirmed(SourceKind kind);
void CountMisfit(SourceKind kind);
void CountEvicted(SourceKind kind, std::uint32_t rows);

// The record that the figures are counted in.
const StatusRecord& CurrentStatus();

}  // namespace datacollector
