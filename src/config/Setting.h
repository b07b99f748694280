// A row of the tables that say which key goes where, and the reading of such rows: look up, store, print.
//
// A printed text is a pattern in which {key}, {file}, {value} and {index} stand for what was looked up; a
// pattern ends its own line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "config/ConfigFile.h"
#include "ground/FixedText.h"

namespace datacollector {

// What the places of a pattern stand for.
struct EchoWords {
  std::string_view key;
  std::string_view file;
  std::string_view value = {};
  std::string_view index = {};
};

void PrintEcho(std::string_view pattern, const EchoWords& words);

// What a reader prints about a number or a text that it found, and about a key that is missing, unless the
// key's row has a text of its own.
struct Wording {
  const char* number;
  const char* text;
  const char* missing;
};

inline constexpr const char* kMissingKey = "No '{key}' setting in {file} file\n";
inline constexpr Wording kUsualWording = {"{key} = {key}, and Value = {value}\n",
                                          "value at setting {key} in {file} file is = {value}\n",
                                          kMissingKey};

// A text as it stands in the main state; `limit` is the room it had when it was cut, else 0.
struct StoredText {
  const char* text;
  std::size_t limit;
};

// A key of a file and its place in a record. A row has either `storeNumber` or `storeText`.
template <typename Record>
struct Setting {
  const char* key;
  std::int32_t (*storeNumber)(Record&, int);      // returns the number to print
  StoredText (*storeText)(Record&, const char*);  // returns the text to print
  const char* echo = nullptr;                     // nullptr: the reader's wording
  const char* missing = nullptr;                  // nullptr: the reader's wording
  const char* announcement = nullptr;             // printed before the look-up
  bool required = false;                          // a missing key ends the reader
};

template <typename Record, typename Field>
Record RecordOfMember(Field Record::*);
template <auto Member>
using RecordOf = decltype(RecordOfMember(Member));

// Stores a text, of which at most `Bound` characters are kept.
template <std::size_t Bound, std::size_t Capacity>
StoredText StoreBounded(FixedText<Capacity>& field, const char* text) {
  static_assert(Bound <= Capacity);
  const std::string_view whole(text);
  field.Assign(whole.substr(0, Bound));
  return {field.c_str(), whole.size() > Bound ? Bound : 0};
}

// Rows for the usual fields: a number, narrowed to the field's width; a text; one of an array of texts.
template <auto Member>
constexpr Setting<RecordOf<Member>> NumberKey(const char* key, const char* echo = nullptr) {
  using Record = RecordOf<Member>;
  const auto store = [](Record& record, int value) -> std::int32_t {
    auto& field = record.*Member;
    field = static_cast<std::remove_reference_t<decltype(field)>>(value);
    return field;
  };
  return {.key = key, .storeNumber = store, .storeText = nullptr, .echo = echo};
}

template <auto Member>
constexpr Setting<RecordOf<Member>> TextKey(const char* key) {
  using Record = RecordOf<Member>;
  const auto store = [](Record& record, const char* text) {
    auto& field = record.*Member;
    return StoreBounded<std::remove_reference_t<decltype(field)>::kCapacity>(field, text);
  };
  return {.key = key, .storeNumber = nullptr, .storeText = store};
}

template <auto Member, std::size_t Index>
constexpr Setting<RecordOf<Member>> TextKey(const char* key, const char* announcement = nullptr) {
  using Record = RecordOf<Member>;
  const auto store = [](Record& record, const char* text) {
    auto& field = (record.*Member)[Index];
    return StoreBounded<std::remove_reference_t<decltype(field)>::kCapacity>(field, text);
  };
  return {.key = key, .storeNumber = nullptr, .storeText = store, .announcement = announcement};
}

template <typename Record>
constexpr Setting<Record> Required(Setting<Record> setting, const char* missing = nullptr) {
  setting.missing = missing;
  setting.required = true;
  return setting;
}

// The parts of reading a row that don't depend on the record.
void PrintNumber(const char* pattern, const char* key, const ConfigFile& file, std::int32_t value,
                 std::string_view index = {});
void PrintStoredText(const char* pattern, const char* key, const ConfigFile& file, const StoredText& stored,
                     std::string_view index = {});

// Says on standard error that the text of a key was cut.
void ReportCut(const char* key, const char* path, std::size_t limit);

// Reads one row; false when the key is missing, which leaves the record as it is.
template <typename Record>
bool ReadSetting(const ConfigFile& file, const Setting<std::type_identity_t<Record>>& setting, Record& record,
                 const Wording& wording = kUsualWording) {
  if (setting.announcement != nullptr) {
    PrintEcho(setting.announcement, {setting.key, file.Path()});
  }
  if (setting.storeNumber != nullptr) {
    if (const std::optional<int> value = file.Number(setting.key)) {
      const std::int32_t stored = setting.storeNumber(record, *value);
      PrintNumber(setting.echo == nullptr ? wording.number : setting.echo, setting.key, file, stored);
      return true;
    }
  } else if (const char* text = file.Text(setting.key)) {
    const StoredText stored = setting.storeText(record, text);
    PrintStoredText(setting.echo == nullptr ? wording.text : setting.echo, setting.key, file, stored);
    return true;
  }
  PrintEcho(setting.missing == nullptr ? wording.missing : setting.missing, {setting.key, file.Path()});
  return false;
}

// Reads rows in their order. Stops at a required key that is missing; then false.
template <typename Record>
bool ReadSettings(const ConfigFile& file, std::span<const Setting<std::type_identity_t<Record>>> settings,
                  Record& record, const Wording& wording = kUsualWording) {
  for (const Setting<Record>& setting : settings) {
    if (!ReadSetting(file, setting, record, wording) && setting.required) {
      return false;
    }
  }
  return true;
}

}  // namespace datacollector
