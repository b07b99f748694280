// Where in the code a trace line comes from.
#pragma once

namespace datacollector {

// As a default argument `CodePlace::Current()` is the place of the call.
struct CodePlace {
  const char* file;  // path as compiled
  int line;

  static constexpr CodePlace Current(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
};

// Name of the source file without its folders.
constexpr const char* SourceFileName(CodePlace place) {
  const char* name = place.file;
  for (const char* at = place.file; *at != '\0'; ++at) {
    if (*at == '/') {
      name = at + 1;
    }
  }
  return name;
}

}  // namespace datacollector
