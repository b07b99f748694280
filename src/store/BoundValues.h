// A record's literals as values that are bound to a compiled statement, so that SQLite need not parse them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace datacollector {

struct BoundValue {
  enum class Sort : std::uint8_t { Null, Integer, Real, Text };
  Sort sort = Sort::Null;
  std::string_view text{};   // without the quotes
  std::int64_t integer = 0;  // of an integer
  double real = 0;           // of a real number: SQLite itself reads it from the text
};

class BoundValues {
 public:
  // Takes a list apart that CountLiterals accepts; the values look into `literals`. False when it holds one
  // of the rarer forms (a doubled quote, an exponent, a hexadecimal number, more than 18 digits) or more than
  // 64 values, which only a statement with the list itself reads as SQLite does.
  bool Take(std::string_view literals);

  std::span<BoundValue> Values() { return {values_.data(), count_}; }

 private:
  bool TakeText(std::string_view& rest);
  bool TakeWord(std::string_view& rest);

  std::array<BoundValue, 64> values_{};
  std::size_t count_ = 0;
};

}  // namespace datacollector
