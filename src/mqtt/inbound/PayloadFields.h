// Reading the comma-separated fields of inbound payloads.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace datacollector {

// Hands out the fields of a text one by one. Every comma separates, one inside quotes too; an empty field is
// a field and keeps its place. The text must outlive the reader.
class PayloadFields {
 public:
  explicit PayloadFields(std::string_view text) : rest_(text) {}

  // The next field, nothing when the text is used up.
  std::optional<std::string_view> Next();

  // The decimal value of the next field, 0 when there is none.
  std::int32_t NextNumber();

  // What follows the last field's comma.
  std::string_view Rest() const { return rest_.value_or(std::string_view{}); }

 private:
  std::optional<std::string_view> rest_;
};

// The field at a place counted from 1, nothing when the text has fewer.
std::optional<std::string_view> FieldAt(std::string_view text, std::size_t place);

// The decimal value of the field at a place counted from 1, 0 when there is none.
std::int32_t NumberAt(std::string_view text, std::size_t place);

// A text without the blanks and double quotes around it.
std::string_view WithoutQuotes(std::string_view text);

}  // namespace datacollector
