#include "ground/Version.h"

namespace datacollector {

const char* const kVersion = DATACOLLECTOR_VERSION;

}  // namespace datacollector
