#include "fuzz/FuzzGateway.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>

namespace datacollector::fuzz {

namespace fs = std::filesystem;

std::vector<ExampleFile> ExampleFiles() {
  std::array<char, 64> host{};
  if (::gethostname(host.data(), host.size() - 1) != 0 || std::string_view(host.data()) != "gateway") {
    std::fprintf(stderr, "run it through scripts/private-root.sh: it writes to the daemon's paths\n");
    std::exit(2);
  }
  constexpr const char* kFolder = DATACOLLECTOR_SOURCE_DIR "/gateway/Config";
  std::vector<ExampleFile> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kFolder)) {
    if (entry.path().extension() == ".cfg") {
      std::stringstream content;
      content << std::ifstream(entry.path()).rdbuf();
      files.push_back({fs::path("/") / fs::relative(entry.path(), kFolder), content.str()});
    }
  }
  std::sort(files.begin(), files.end(),
            [](const ExampleFile& one, const ExampleFile& other) { return one.path < other.path; });
  return files;
}

void Install(const ExampleFile& file) {
  fs::create_directories(file.path.parent_path());
  std::ofstream(file.path, std::ios::binary) << file.content;
}

void SilenceTrace() {
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere, STDOUT_FILENO);
  ::close(nowhere);
}

}  // namespace datacollector::fuzz
