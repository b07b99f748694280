#include "store/SetAside.h"

#include <dirent.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ground/FileLogger.h"
#include "ground/KindShape.h"
#include "ground/Trace.h"
#include "store/FileIdentity.h"

namespace datacollector {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kCheckLimit{2};
constexpr int kStepsBetweenLooks = 1000;  // of SQLite's virtual machine
constexpr std::size_t kKept = 2;
constexpr const char* kMark = ".damaged-";

struct CloseHandle {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

int IsTimeUp(void* deadline) { return Clock::now() > *static_cast<Clock::time_point*>(deadline) ? 1 : 0; }

int OnFinding(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<bool*>(context) = values[0] == nullptr || std::strcmp(values[0], "ok") != 0;
  return 0;
}

bool SaysDamage(int code) { return code == SQLITE_CORRUPT || code == SQLITE_NOTADB; }

// Whether a new connection finds damage.
bool IsDamaged(const char* name, int flags, const char* locking) {
  sqlite3* opened = nullptr;
  const int open = sqlite3_open_v2(name, &opened, flags, locking);
  const std::unique_ptr<sqlite3, CloseHandle> handle(opened);
  if (open != SQLITE_OK) {
    return SaysDamage(open);
  }
  sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  Clock::time_point deadline = Clock::now() + kCheckLimit;
  sqlite3_progress_handler(opened, kStepsBetweenLooks, IsTimeUp, &deadline);
  bool found = false;
  const int check = sqlite3_exec(opened, "PRAGMA quick_check(1)", OnFinding, &found, nullptr);
  return SaysDamage(check) || (check == SQLITE_OK && found);
}

// The database as SQLite opens it to read the file alone.
std::string AsWithoutLog(const char* path) {
  std::string name = "file:";
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '%' || *at == '?' || *at == '#') {
      std::array<char, 4> coded{};
      std::snprintf(coded.data(), coded.size(), "%%%02x",
                    static_cast<unsigned>(static_cast<unsigned char>(*at)));
      name += coded.data();
    } else {
      name += *at;
    }
  }
  return name + "?immutable=1";
}

bool IsTaken(const std::string& name) {
  return IdentityOf(name.c_str()).Exists() || IdentityOf((name + kLogSuffix).c_str()).Exists();
}

// A name that is not taken.
std::string NameAside(const std::string& path) {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> stamp{};
  std::strftime(stamp.data(), stamp.size(), "%Y%m%dT%H%M%SZ", &utc);
  const std::string name = path + kMark + stamp.data();
  std::string free = name;
  for (int number = 2; IsTaken(free); ++number) {
    free = name + "-" + std::to_string(number);
  }
  return free;
}

// What was put aside at one time has one name, which the log's name begins with.
std::string WithoutSuffix(std::string name) {
  for (const char* suffix : kBesideSuffixes) {
    if (name.ends_with(suffix)) {
      name.resize(name.size() - std::strlen(suffix));
    }
  }
  return name;
}

// Of an absolute path.
std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// What was put aside of a database, the newest first: the names carry their time.
std::vector<std::string> AllAside(const std::string& path) {
  const std::string mark = NameOf(path) + kMark;
  std::vector<std::string> names;
  const std::unique_ptr<DIR, CloseFolder> folder(::opendir(FolderOf(path).c_str()));
  while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr) {
    const std::string name = WithoutSuffix(entry->d_name);
    const auto place = std::lower_bound(names.begin(), names.end(), name, std::greater<>());
    if (name.starts_with(mark) && (place == names.end() || *place != name)) {
      names.insert(place, name);
    }
  }
  return names;
}

void RemoveOldest(const std::string& path) {
  std::size_t newer = 0;
  for (const std::string& name : AllAside(path)) {
    if (newer++ < kKept) {
      continue;
    }
    const std::string aside = FolderOf(path) + "/" + name;
    ::unlink(aside.c_str());
    for (const char* suffix : kBesideSuffixes) {
      ::unlink((aside + suffix).c_str());
    }
  }
}

// So that a power cut does not bring the damaged file back over the new one.
void SyncFolder(const std::string& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0) {
    ::fsync(descriptor);
    ::close(descriptor);
  }
}

}  // namespace

Damage DamageOf(const char* path, const char* locking) {
  if (!IsDamaged(path, SQLITE_OPEN_READWRITE, locking)) {
    return Damage::None;
  }
  const std::string alone = AsWithoutLog(path);
  const bool log = StateOf((std::string(path) + kLogSuffix).c_str()).bytes > 0;
  return log && !IsDamaged(alone.c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, locking) ? Damage::Log
                                                                                           : Damage::File;
}

bool PutAside(SourceKind kind, const char* path, Damage damage) {
  const std::string aside = NameAside(path);
  const bool renamed = damage == Damage::Log || std::rename(path, aside.c_str()) == 0;
  if (!renamed) {
    return false;
  }
  for (const char* suffix : kBesideSuffixes) {
    std::rename((std::string(path) + suffix).c_str(), (aside + suffix).c_str());
  }
  SyncFolder(FolderOf(path));
  RemoveOldest(path);
  const std::string name = NameOf(damage == Damage::Log ? aside + kLogSuffix : aside);
  PrintError("%s database damaged: put aside as %s\n", kKindIndexWord[kind], name.c_str());
  WriteLog("%s database damaged: put aside as %s", kKindIndexWord[kind], name.c_str());
  return true;
}

}  // namespace datacollector
