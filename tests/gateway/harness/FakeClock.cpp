#include "gateway/harness/FakeClock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTimeFile = "/tmp/faketime";
constexpr const char* kDay = "2026-11-20 ";

// The variant for programs with threads. The folder is that of the machine's architecture.
std::string Library() {
  for (const fs::directory_entry& folder : fs::directory_iterator("/usr/lib")) {
    const fs::path library = folder.path() / "faketime/libfaketimeMT.so.1";
    if (fs::exists(library)) {
      return library;
    }
  }
  ADD_FAILURE() << "libfaketime is missing; see scripts/install-dependencies.sh";
  return "";
}

// The environment variable with one more option.
std::string With(const std::string& option, const std::string& variable) {
  const char* options = std::getenv(variable.c_str());
  return variable + "=" + (options == nullptr ? "" : std::string(options) + ":") + option;
}

// Replaced as a whole, so that nobody reads half of it.
void Write(const std::string& time) {
  const std::string next = std::string(kTimeFile) + ".next";
  std::ofstream(next) << time << "\n";
  fs::rename(next, kTimeFile);
}

}  // namespace

void FakeClock::StandAt(const std::string& time) const { Write(kDay + time); }

void FakeClock::RunFrom(const std::string& time) const {
  std::tm local{};
  ASSERT_NE(::strptime((kDay + time).c_str(), "%Y-%m-%d %T", &local), nullptr) << time;
  local.tm_isdst = -1;
  const std::time_t ahead = ::mktime(&local) - ::time(nullptr);
  std::ostringstream offset;
  offset << std::showpos << ahead;
  Write(offset.str());
}

std::vector<std::string> FakeClock::Environment() {
  // AddressSanitizer's runtime expects to be the first library of a process. Preloading it too is no way out:
  // the shells that the daemon starts would get it as well, and hang. Its allocator must not ask for the
  // time: the library would allocate memory for the answer, within the allocator's own lock.
  return {"LD_PRELOAD=" + Library(),
          "FAKETIME_TIMESTAMP_FILE=" + std::string(kTimeFile),
          "FAKETIME_NO_CACHE=1",
          "DONT_FAKE_MONOTONIC=1",
          "NO_FAKE_STAT=1",
          With("verify_asan_link_order=0:allocator_release_to_os_interval_ms=-1", "ASAN_OPTIONS")};
}

}  // namespace datacollector::gateway
