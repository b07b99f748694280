#include "store/BoundValues.h"

#include <algorithm>
#include <charconv>

namespace datacollector {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\f";
constexpr std::string_view kDigits = "0123456789";

// Of an integer that has 64 bits for certain.
constexpr std::size_t kMaxDigits = 18;

bool IsNull(std::string_view word) {
  return std::ranges::equal(word, std::string_view("null"),
                            [](char found, char expected) { return (found | 0x20) == expected; });
}

std::string_view WithoutSign(std::string_view number) {
  return number.starts_with('-') || number.starts_with('+') ? number.substr(1) : number;
}

}  // namespace

bool BoundValues::TakeText(std::string_view& rest) {
  const std::size_t closing = rest.find(rest.front(), 1);
  if (closing == std::string_view::npos || rest.substr(closing + 1).starts_with(rest.front())) {
    return false;
  }
  values_[count_] = {.sort = BoundValue::Sort::Text, .text = rest.substr(1, closing - 1)};
  rest.remove_prefix(closing + 1);
  return true;
}

bool BoundValues::TakeWord(std::string_view& rest) {
  const std::string_view word = rest.substr(0, rest.find_first_of(", \t\r\n\f"));
  const std::string_view number = WithoutSign(word);
  BoundValue& value = values_[count_];
  value = {.text = word};
  rest.remove_prefix(word.size());
  if (number.empty() || number.size() > kMaxDigits ||
      number.find_first_of(kDigits) == std::string_view::npos) {
    return IsNull(word);
  }
  if (number.find_first_not_of(kDigits) == std::string_view::npos) {
    value.sort = BoundValue::Sort::Integer;
    const char* const first = word.data() + (word.starts_with('+') ? 1 : 0);
    return std::from_chars(first, word.data() + word.size(), value.integer).ec == std::errc();
  }
  value.sort = BoundValue::Sort::Real;
  const std::size_t point = number.find('.');
  return point != std::string_view::npos && number.find_first_not_of(kDigits) == point &&
         number.find_first_not_of(kDigits, point + 1) == std::string_view::npos;
}

bool BoundValues::Take(std::string_view literals) {
  std::string_view rest = literals;
  count_ = 0;
  for (;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.empty() || count_ == values_.size() ||
        !(rest.front() == '"' || rest.front() == '\'' ? TakeText(rest) : TakeWord(rest))) {
      return false;
    }
    ++count_;
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.empty()) {
      return true;
    }
    if (rest.front() != ',') {
      return false;
    }
    rest.remove_prefix(1);
  }
}

}  // namespace datacollector
