// In place of the fuzzer: runs a target once over each file of the folders that it is given.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int inputs = 0;
  for (int argument = 1; argument < argc; ++argument) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[argument])) {
      std::stringstream content;
      content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      const std::string input = content.str();
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++inputs;
    }
  }
  std::fprintf(stderr, "%d inputs\n", inputs);
  return inputs == 0 ? 1 : 0;
}
