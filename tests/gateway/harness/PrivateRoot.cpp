#include "gateway/harness/PrivateRoot.h"

#include <unistd.h>

#include <array>
#include <filesystem>
#include <string_view>

#include "ground/FileLogger.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

constexpr const char* kApplicationData = "/vorl/disk/AppData/K740";

// Only what the configuration has put there: a checkout may lie below /root too.
void RemoveConfiguration() {
  for (const fs::directory_entry& example :
       fs::directory_iterator(DATACOLLECTOR_SOURCE_DIR "/gateway/Config/root")) {
    fs::remove_all(fs::path("/root") / example.path().filename());
  }
}

}  // namespace

bool InPrivateRoot() {
  std::array<char, 64> host{};
  return ::gethostname(host.data(), host.size() - 1) == 0 && std::string_view(host.data()) == "gateway" &&
         ::access("/etc/shadow", F_OK) != 0;
}

void CleanPrivateRoot() {
  fs::remove_all(kApplicationData);
  fs::create_directories(kApplicationData);
  RemoveConfiguration();
  fs::remove_all("/tmp/DataCollector");
  fs::remove(kLogFile);
  fs::copy_file(DATACOLLECTOR_SOURCE_DIR "/gateway/DatabaseInterface.sh", "/bin/DatabaseInterface.sh",
                fs::copy_options::overwrite_existing);
}

}  // namespace datacollector::gateway
