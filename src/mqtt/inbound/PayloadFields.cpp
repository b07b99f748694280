#include "mqtt/inbound/PayloadFields.h"

#include "ground/Numbers.h"

namespace datacollector {

std::optional<std::string_view> PayloadFields::Next() {
  if (!rest_) {
    return std::nullopt;
  }
  const std::size_t comma = rest_->find(',');
  const std::string_view field = rest_->substr(0, comma);
  if (comma == std::string_view::npos) {
    rest_.reset();
  } else {
    rest_->remove_prefix(comma + 1);
  }
  return field;
}

std::int32_t PayloadFields::NextNumber() { return DecimalValue(Next().value_or(std::string_view{})); }

std::optional<std::string_view> FieldAt(std::string_view text, std::size_t place) {
  PayloadFields fields(text);
  for (std::size_t passed = 1; passed < place; ++passed) {
    fields.Next();
  }
  return fields.Next();
}

std::int32_t NumberAt(std::string_view text, std::size_t place) {
  return DecimalValue(FieldAt(text, place).value_or(std::string_view{}));
}

std::string_view WithoutQuotes(std::string_view text) {
  constexpr std::string_view kAround = " \t\"";
  const std::size_t first = text.find_first_not_of(kAround);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kAround) - first + 1);
}

}  // namespace datacollector
