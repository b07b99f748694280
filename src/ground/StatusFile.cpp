#include "ground/StatusFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <new>

#include "ground/Version.h"

namespace datacollector {
namespace {

StatusRecord record;
int file = -1;  // set by OpenStatusFile, before any other thread exists, and open until the process ends

std::uint32_t Seconds(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<std::uint32_t>(now.tv_sec);
}

std::uint32_t Now() { return Seconds(CLOCK_REALTIME); }

// False on a full file system, which only costs a reader its figures.
bool WriteAt(std::size_t place, const void* bytes, std::size_t count) {
  return ::pwrite(file, bytes, count, static_cast<off_t>(place)) == static_cast<ssize_t>(count);
}

// Every figure has one writer at a time. Most are set to what they are already.
void Set(StatusWord& figure, std::uint32_t value) {
  const bool changes = figure.exchange(value, std::memory_order_relaxed) != value;
  if (changes && file >= 0) {
    const auto place = reinterpret_cast<std::uintptr_t>(&figure) - reinterpret_cast<std::uintptr_t>(&record);
    WriteAt(place, &value, sizeof value);
  }
}

void Count(StatusWord& figure, std::uint32_t more = 1) { Set(figure, figure + more); }

void CountWithTime(StatusWord& figure, StatusWord& time, std::uint32_t more = 1) {
  Count(figure, more);
  Set(time, Now());
}

// The whole record, word by word: other threads go on counting.
bool WriteRecord() {
  std::array<std::uint32_t, sizeof(StatusRecord) / sizeof(StatusWord)> words{};
  const auto* figures = reinterpret_cast<const StatusWord*>(&record);
  for (std::size_t index = 0; index < words.size(); ++index) {
    words[index] = figures[index].load(std::memory_order_relaxed);
  }
  return WriteAt(0, words.data(), sizeof words);
}

bool IsCutShort() {
  struct stat status {};
  return file >= 0 && ::fstat(file, &status) == 0 && status.st_size < static_cast<off_t>(sizeof record);
}

// A file of this process's own, so that nobody can have laid a link or a pipe in its place.
void MakeFile(const char* path) {
  ::unlink(path);
  file = ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (file >= 0 && !WriteRecord()) {
    ::unlink(path);
    ::close(file);
    file = -1;
  }
}

}  // namespace

void OpenStatusFile(const char* path) {
  new (&record) StatusRecord();
  record.layout = kStatusLayout;
  record.size = sizeof(StatusRecord);
  record.pid = static_cast<std::uint32_t>(::getpid());
  record.startedWall = Now();
  record.startedMonotonic = Seconds(CLOCK_MONOTONIC);
  std::snprintf(record.version.data(), record.version.size(), "%s", kVersion);
  MakeFile(path);
  Set(record.magic, kStatusMagic);
}

void SetConfigurationDigest(std::uint64_t digest) {
  Set(record.digest[0], static_cast<std::uint32_t>(digest >> 32U));
  Set(record.digest[1], static_cast<std::uint32_t>(digest));
}

void Heartbeat(ThreadId thread) {
  Set(record.threads[thread].monotonic, Seconds(CLOCK_MONOTONIC));
  Set(record.threads[thread].wall, Now());
  if (thread == kMainThread && IsCutShort()) {
    WriteRecord();
  }
}

void RecordConnection(bool connected) {
  Set(record.connected, connected ? 1 : 0);
  Set(record.connectedChanged, Now());
}

void RecordForwarding(bool gateOpen, bool wanUp) {
  Heartbeat(kForwardingThread);
  Set(record.gate, gateOpen ? 1 : 0);
  Set(record.wanUp, wanUp ? 1 : 0);
}

void CountStored(SourceKind kind) { CountWithTime(record.kinds[kind].stored, record.kinds[kind].storedAt); }

void CountRefused(SourceKind kind) {
  CountWithTime(record.kinds[kind].refused, record.kinds[kind].refusedAt);
}

void CountHandedOver(SourceKind kind, std::int32_t recordNumber) {
  KindFigures& figures = record.kinds[kind];
  const auto number = static_cast<std::uint32_t>(recordNumber);
  Count(figures.handedOver);
  if (figures.lastHandedOver == number) {
    Count(figures.repeated);
  }
  Set(figures.lastHandedOver, number);
}

void CountConfirmed(SourceKind kind) {
  CountWithTime(record.kinds[kind].confirmed, record.kinds[kind].confirmedAt);
}

void CountMisfit(SourceKind kind) { CountWithTime(record.kinds[kind].misfit, record.kinds[kind].misfitAt); }

void CountEvicted(SourceKind kind, std::uint32_t rows) {
  CountWithTime(record.kinds[kind].evicted, record.kinds[kind].evictedAt, rows);
}

const StatusRecord& CurrentStatus() { return record; }

}  // namespace datacollector
