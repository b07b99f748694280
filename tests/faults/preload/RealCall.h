// The function that would have been called without a preload library in front of it.
#pragma once

#include <dlfcn.h>

namespace datacollector::faults {

template <typename Function>
Function* RealCall(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace datacollector::faults

// A static of the function around it: `real`, looked up at the first call.
#define DATACOLLECTOR_REAL(name, ...) \
  static auto* const real = datacollector::faults::RealCall<__VA_ARGS__>(name)
