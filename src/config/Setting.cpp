#include "config/Setting.h"

#include <string>

#include "ground/Trace.h"

namespace datacollector {
namespace {

std::string_view WordFor(std::string_view place, const EchoWords& words) {
  if (place == "key") {
    return words.key;
  }
  if (place == "file") {
    return words.file;
  }
  return place == "value" ? words.value : words.index;
}

}  // namespace

void PrintEcho(std::string_view pattern, const EchoWords& words) {
  while (!pattern.empty()) {
    const std::size_t open = pattern.find('{');
    PrintText(pattern.substr(0, open));
    if (open == std::string_view::npos) {
      return;
    }
    const std::size_t close = pattern.find('}', open);
    PrintText(WordFor(pattern.substr(open + 1, close - open - 1), words));
    pattern.remove_prefix(close + 1);
  }
}

void PrintNumber(const char* pattern, const char* key, const ConfigFile& file, std::int32_t value,
                 std::string_view index) {
  if (gConfigObserver != nullptr) {
    gConfigObserver->stored(file.Path(), key, value);
  }
  PrintEcho(pattern, {key, file.Path(), std::to_string(value), index});
}

void PrintStoredText(const char* pattern, const char* key, const ConfigFile& file, const StoredText& stored,
                     std::string_view index) {
  PrintEcho(pattern, {key, file.Path(), stored.text, index});
  if (stored.limit != 0) {
    ReportCut(key, file.Path(), stored.limit);
  }
}

void ReportCut(const char* key, const char* path, std::size_t limit) {
  if (gConfigObserver != nullptr) {
    gConfigObserver->cut(path, key, limit);
  }
  PrintError("'%s' in %s file is longer than %zu characters and was cut\n", key, path, limit);
}

}  // namespace datacollector
