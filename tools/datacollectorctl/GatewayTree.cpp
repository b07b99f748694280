#include "GatewayTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "config/LibConfigRead.h"
#include "ground/Trace.h"

namespace datacollector::ctl {

Silence::Silence()
    : output_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)),
      error_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  std::fflush(stdout);
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere, STDOUT_FILENO);
  ::dup2(nowhere, STDERR_FILENO);
  ::close(nowhere);
}

Silence::~Silence() {
  FlushTrace();
  ::dup2(output_, STDOUT_FILENO);
  ::dup2(error_, STDERR_FILENO);
  ::close(output_);
  ::close(error_);
}

bool AreFilesReadable(const std::string& root) {
  constexpr off_t kMaxBytes = off_t{1} << 20U;
  for (const char* path : ConfigFilePaths()) {
    struct stat status {};
    if (::stat(RootedPath(root.c_str(), path).c_str(), &status) == 0 &&
        (!S_ISREG(status.st_mode) || status.st_size > kMaxBytes)) {
      return false;
    }
  }
  return true;
}

void ReleaseMain::operator()(DataCollectorMainStructure* main) const {
  const auto& site = main->DataCollectorSiteConfig;
  for (const char* text : {site.SiteID, site.DeviceID, site.FailureDataCharacter, site.OverallRecordstartmark,
                           site.OverallRecordendmark, main->SoftwareVer, main->OruVer}) {
    std::free(const_cast<char*>(text));  // NOLINT(cppcoreguidelines-no-malloc): a copy by strdup
  }
  delete main;
}

GatewayTree LoadGateway(const std::string& root) {
  GatewayTree tree{root, decltype(GatewayTree::main)(new DataCollectorMainStructure())};
  if (!AreFilesReadable(root)) {
    return tree;
  }
  const Silence silence;
  ReadConfig(*tree.main, root.c_str());
  return tree;
}

}  // namespace datacollector::ctl
