// Any content of any one configuration file beside the others' examples: the readers end, and stay within
// their records. The first byte selects the file ('A' is the first by path), the rest is its content.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/StartUp.h"
#include "config/LibConfigRead.h"
#include "fuzz/FuzzGateway.h"
#include "ground/MainState.h"

using datacollector::fuzz::ExampleFile;

namespace {

std::vector<ExampleFile> InstallAll() {
  datacollector::fuzz::SilenceTrace();
  std::vector<ExampleFile> files = datacollector::fuzz::ExampleFiles();
  for (const ExampleFile& file : files) {
    datacollector::fuzz::Install(file);
  }
  return files;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<ExampleFile> files = InstallAll();
  if (size == 0) {
    return 0;
  }
  const ExampleFile& file = files[static_cast<std::uint8_t>(data[0] - 'A') % files.size()];
  datacollector::fuzz::Install({file.path, std::string(reinterpret_cast<const char*>(data) + 1, size - 1)});
  datacollector::Initialize_GlobalVariables();
  datacollector::ReadConfig(datacollector::gMainState);
  datacollector::fuzz::Install(file);
  return 0;
}
