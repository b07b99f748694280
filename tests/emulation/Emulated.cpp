// Stands in the place of a program for another processor and becomes its emulator: process number, arguments
// and name stay those of the program. Linked statically, so that nothing that is preloaded into the program
// gets into this.
//
// EMULATOR, SYSROOT and PROGRAM are set by scripts/test-emulated.sh.
#include <unistd.h>

#include <cstdio>
#include <vector>

int main(int /*argc*/, char* argv[]) {
  std::vector<const char*> arguments = {EMULATOR, "-0", argv[0], "-L", SYSROOT, PROGRAM};
  for (char** argument = argv + 1; *argument != nullptr; ++argument) {
    arguments.push_back(*argument);
  }
  arguments.push_back(nullptr);
  ::execv(EMULATOR, const_cast<char* const*>(arguments.data()));
  std::perror(EMULATOR);
  return 127;
}
