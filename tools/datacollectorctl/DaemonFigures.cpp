// The daemon's part of the figures: its status file and its process.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "Figures.h"

namespace datacollector::ctl {
namespace {

constexpr std::size_t kStatusFileLimit = 4096;

// A copy of the status file: the daemon goes on writing its own.
struct StatusCopy {
  alignas(StatusRecord) std::array<unsigned char, kStatusFileLimit> bytes{};
  std::size_t used = 0;
  const StatusRecord& Record() const { return *reinterpret_cast<const StatusRecord*>(bytes.data()); }
};

bool ReadCopy(const std::string& path, StatusCopy& copy) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    const ssize_t bytes = ::read(descriptor, copy.bytes.data(), copy.bytes.size());
    copy.used = bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
  }
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  return IsStatusRecord(copy.Record(), copy.used);
}

// Whether a daemon holds the single-instance socket. A process number may have been given away again.
bool AnswersOnSocket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", "/tmp/DataCollector");
  const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const bool answers = descriptor >= 0 && ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address),
                                                    sizeof address) == 0;
  if (descriptor >= 0) {
    ::close(descriptor);
  }
  return answers;
}

Number ResidentMemory(std::int64_t pid) {
  const std::string path = "/proc/" + std::to_string(pid) + "/statm";
  std::int64_t total = 0;
  std::int64_t resident = 0;
  return std::ifstream(path) >> total >> resident ? Number(resident * ::sysconf(_SC_PAGESIZE)) : Number();
}

Number Count(const StatusWord& figure) { return static_cast<std::int64_t>(figure.load()); }

Number Moment(const StatusWord& figure) { return figure == 0 ? Number() : Count(figure); }

void TakeKind(const KindFigures& figures, KindStatus& kind) {
  kind.stored = Count(figures.stored);
  kind.refused = Count(figures.refused);
  kind.refusedAt = Moment(figures.refusedAt);
  kind.handedOver = Count(figures.handedOver);
  kind.repeated = Count(figures.repeated);
  kind.misfit = Count(figures.misfit);
  kind.confirmed = *Count(figures.confirmed) - *kind.misfit;
  kind.confirmedAt = Moment(figures.confirmedAt);
  kind.evictedAt = Moment(figures.evictedAt);
}

}  // namespace

DaemonStatus ReadDaemonStatus(const std::string& root, std::array<KindStatus, kSourceKinds>& kinds) {
  DaemonStatus daemon;
  daemon.alive = root.empty() && AnswersOnSocket();
  StatusCopy copy;
  if (!ReadCopy(root + kStatusFile, copy)) {
    return daemon;
  }
  const StatusRecord& record = copy.Record();
  daemon.known = true;
  daemon.version.assign(record.version.data(), ::strnlen(record.version.data(), record.version.size()));
  daemon.digest = (static_cast<std::uint64_t>(record.digest[0]) << 32U) | record.digest[1];
  daemon.pid = record.pid;
  daemon.startedAt = record.startedWall;
  daemon.connected = record.connected == 1;
  daemon.gateOpen = record.gate == 1;
  if (daemon.alive) {
    daemon.memoryBytes = ResidentMemory(daemon.pid);
  }
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    const std::uint32_t beat = record.threads[thread].monotonic;
    daemon.heartbeatAge[thread] = beat == 0 ? -1 : static_cast<std::int64_t>(now.tv_sec) - beat;
  }
  for (const SourceKind kind : kAllKinds) {
    TakeKind(record.kinds[kind], kinds[kind]);
  }
  return daemon;
}

}  // namespace datacollector::ctl
