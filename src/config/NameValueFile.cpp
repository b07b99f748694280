#include "config/NameValueFile.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "ground/Trace.h"

namespace datacollector {
namespace {

// One reading of a line: 499 characters and the terminator. What is left of a longer line is the next line.
constexpr int kLineBytes = 500;

// A carriage return is no blank: files with such line ends give values that end in one.
constexpr const char* kBlanks = " \t";

struct Entry {
  std::string_view name;
  std::string_view value;
};

std::string_view WithoutLeadingBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text;
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// The entry of a line; nothing for a comment or a line without "=". Views into `line`.
std::optional<Entry> EntryOf(std::string_view line) {
  line = WithoutLeadingBlanks(line);
  const std::size_t equals = line.find('=');
  if (line.starts_with('#') || equals == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view value = WithoutLeadingBlanks(line.substr(equals + 1));
  return Entry{WithoutTrailingBlanks(line.substr(0, equals)),
               WithoutTrailingBlanks(value.substr(0, value.find_first_of("\n#")))};
}

int ReturnFailure() {
  PrintError("Returning Failure from function ParseContentFromConfig\n");
  return -1;
}

int StoreEntries(EntryTexts& names, EntryTexts& values, std::FILE* file, const char* path) {
  std::size_t count = 0;
  bool dropped = false;
  std::array<char, kLineBytes> line{};
  while (std::fgets(line.data(), kLineBytes, file) != nullptr) {
    const std::optional<Entry> entry = EntryOf(line.data());
    if (entry && count < names.size()) {
      names[count].Assign(entry->name);
      values[count].Assign(entry->value);
      ++count;
    } else if (entry) {
      dropped = true;
    }
  }
  if (std::ferror(file) != 0) {
    PrintSystemError(path);
  }
  if (dropped) {
    PrintError("Configuration file '%s' has more than %zu entries, the rest is dropped\n", path,
               names.size());
  }
  return static_cast<int>(count);
}

}  // namespace

int ParseContentFromConfig(EntryTexts* names, EntryTexts* values, const char* path) {
  const FunctionTrace trace(__func__);
  if (names == nullptr || values == nullptr) {
    PrintError("The string %s contains a NULL value\n", names == nullptr ? "names" : "values");
    return ReturnFailure();
  }
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path, "r"), &std::fclose);
  if (file == nullptr) {
    PrintError("Unable to open the configuration file '%s'\n", path);
    return ReturnFailure();
  }
  Print("Configuration file '%s' opened successfully\n", path);
  const int count = StoreEntries(*names, *values, file.get(), path);
  PrintError("Returning Success from function ParseContentFromConfig\n");
  return count;
}

}  // namespace datacollector
