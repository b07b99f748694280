// A bounded text with its own storage: never overrun, always terminated, zeroed as a plain record.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace datacollector {

// Holds at most N characters. A trivially copyable record: zeroing its memory empties it.
template <std::size_t N>
struct FixedText {
  static constexpr std::size_t kCapacity = N;

  std::array<char, N + 1> characters;

  const char* c_str() const { return characters.data(); }
  std::string_view view() const { return {characters.data(), ::strnlen(characters.data(), N)}; }
  bool empty() const { return characters[0] == '\0'; }
  void Clear() { characters.fill('\0'); }

  // Replaces the text by `source`, up to its first NUL. Returns false when it had to be cut to N characters.
  bool Assign(std::string_view source) {
    Clear();
    return Append(source);
  }

  // Adds `source`, up to its first NUL, behind the text. Returns false when it had to be cut.
  bool Append(std::string_view source) {
    source = source.substr(0, source.find('\0'));
    const std::size_t used = view().size();
    const std::size_t copied = std::min(source.size(), N - used);
    std::copy_n(source.data(), copied, characters.data() + used);
    characters[used + copied] = '\0';
    return copied == source.size();
  }

  // Replaces the text by a formatted one. Returns false when it had to be cut.
  template <typename... Arguments>
  bool Format(const char* format, Arguments... arguments) {
    const int length = std::snprintf(characters.data(), characters.size(), format, arguments...);
    return length >= 0 && static_cast<std::size_t>(length) <= N;
  }
};

// "YYYY-MM-DD hh:mm:ss" or Epoch seconds, in the 25 bytes that every time stamp of the system has.
using TimeStampText = FixedText<24>;

}  // namespace datacollector
