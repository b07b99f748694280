#include "ground/StatusFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "ground/Version.h"

namespace datacollector {
namespace {

StatusRecord ownRecord;
StatusRecord* current = &ownRecord;  // set by OpenStatusFile, before any other thread exists

std::uint32_t Seconds(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<std::uint32_t>(now.tv_sec);
}

std::uint32_t Now() { return Seconds(CLOCK_REALTIME); }

// A file of this process's own, so that nobody can have laid a link or a pipe in its place. Its bytes are
// written before they are mapped: on a full file system the first store to the map would end the process.
StatusRecord* MapNewFile(const char* path) {
  ::unlink(path);
  const int descriptor = ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (descriptor < 0) {
    return nullptr;
  }
  static constexpr std::array<char, sizeof(StatusRecord)> kZeroes{};
  void* memory = MAP_FAILED;
  if (::write(descriptor, kZeroes.data(), kZeroes.size()) == static_cast<ssize_t>(kZeroes.size())) {
    memory = ::mmap(nullptr, sizeof(StatusRecord), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  ::close(descriptor);
  if (memory == MAP_FAILED) {
    ::unlink(path);
    return nullptr;
  }
  return new (memory) StatusRecord();
}

// Every figure has one writer at a time, so a load and a store are enough.
void Count(StatusWord& figure) {
  figure.store(figure.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void CountWithTime(StatusWord& figure, StatusWord& time) {
  Count(figure);
  time.store(Now(), std::memory_order_relaxed);
}

}  // namespace

void OpenStatusFile(const char* path) {
  if (StatusRecord* mapped = MapNewFile(path)) {
    current = mapped;
  }
  current->layout = kStatusLayout;
  current->size = sizeof(StatusRecord);
  current->pid = static_cast<std::uint32_t>(::getpid());
  current->startedWall = Now();
  current->startedMonotonic = Seconds(CLOCK_MONOTONIC);
  std::snprintf(current->version.data(), current->version.size(), "%s", kVersion);
  current->magic.store(kStatusMagic, std::memory_order_release);
}

void SetConfigurationDigest(std::uint64_t digest) {
  current->digest[0] = static_cast<std::uint32_t>(digest >> 32U);
  current->digest[1] = static_cast<std::uint32_t>(digest);
}

void Heartbeat(ThreadId thread) {
  HeartbeatFigures& figures = current->threads[thread];
  figures.monotonic.store(Seconds(CLOCK_MONOTONIC), std::memory_order_relaxed);
  figures.wall.store(Now(), std::memory_order_relaxed);
}

void RecordConnection(bool connected) {
  current->connected.store(connected ? 1 : 0, std::memory_order_relaxed);
  current->connectedChanged.store(Now(), std::memory_order_relaxed);
}

void RecordForwarding(bool gateOpen, bool wanUp) {
  Heartbeat(kForwardingThread);
  current->gate.store(gateOpen ? 1 : 0, std::memory_order_relaxed);
  current->wanUp.store(wanUp ? 1 : 0, std::memory_order_relaxed);
}

void CountStored(SourceKind kind) {
  CountWithTime(current->kinds[kind].stored, current->kinds[kind].storedAt);
}

void CountRefused(SourceKind kind) {
  CountWithTime(current->kinds[kind].refused, current->kinds[kind].refusedAt);
}

void CountHandedOver(SourceKind kind, std::int32_t recordNumber) {
  KindFigures& figures = current->kinds[kind];
  const auto number = static_cast<std::uint32_t>(recordNumber);
  Count(figures.handedOver);
  if (figures.lastHandedOver.exchange(number, std::memory_order_relaxed) == number) {
    Count(figures.repeated);
  }
}

void CountConfirmed(SourceKind kind) {
  CountWithTime(current->kinds[kind].confirmed, current->kinds[kind].confirmedAt);
}

void CountMisfit(SourceKind kind) {
  CountWithTime(current->kinds[kind].misfit, current->kinds[kind].misfitAt);
}

void CountEvicted(SourceKind kind, std::uint32_t rows) {
  current->kinds[kind].evicted.fetch_add(rows, std::memory_order_relaxed);
  current->kinds[kind].evictedAt.store(Now(), std::memory_order_relaxed);
}

const StatusRecord& CurrentStatus() { return *current; }

}  // namespace datacollector
