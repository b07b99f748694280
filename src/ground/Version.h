// The release that this program was built from.
#pragma once

namespace datacollector {

extern const char* const kVersion;  // "1.0.0"

}  // namespace datacollector
