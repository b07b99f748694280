#include "store/RecordData.h"

#include <algorithm>

namespace datacollector {
namespace {

constexpr std::size_t kMaxHexDigits = 16;  // of a 64-bit integer

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Takes a list apart from its front. Every step takes at least one character or fails, so that the work is
// proportional to the length.
class LiteralReader {
 public:
  explicit LiteralReader(std::string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  void SkipBlanks() { SkipWhile(IsBlank); }

  bool Skip(char expected) {
    if (First() != expected || AtEnd()) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  bool SkipLiteral() {
    switch (First()) {
      case '\'':
      case '"':
        return SkipText();
      case 'n':
      case 'N':
        return SkipNull();
      default:
        return IsHexNumber() ? SkipHexNumber() : SkipNumber();
    }
  }

 private:
  // NUL at the end, which begins nothing.
  char First() const { return rest_.empty() ? '\0' : rest_.front(); }

  // The number of characters taken.
  template <typename Condition>
  std::size_t SkipWhile(Condition condition) {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), condition);
    const auto taken = static_cast<std::size_t>(end - rest_.begin());
    rest_.remove_prefix(taken);
    return taken;
  }

  bool SkipText() {
    const char quote = First();
    rest_.remove_prefix(1);
    for (;;) {
      const std::size_t closing = rest_.find(quote);
      if (closing == std::string_view::npos) {
        return false;
      }
      rest_.remove_prefix(closing + 1);
      if (!Skip(quote)) {
        return true;
      }
    }
  }

  bool SkipNull() {
    constexpr std::string_view kNull = "null";
    if (rest_.size() < kNull.size() ||
        !std::equal(kNull.begin(), kNull.end(), rest_.begin(),
                    [](char expected, char found) { return expected == Lower(found); })) {
      return false;
    }
    rest_.remove_prefix(kNull.size());
    return true;
  }

  bool IsHexNumber() const { return rest_.size() > 2 && rest_[0] == '0' && Lower(rest_[1]) == 'x'; }

  bool SkipHexNumber() {
    rest_.remove_prefix(2);
    const std::size_t zeros = SkipWhile([](char c) { return c == '0'; });
    const std::size_t digits = SkipWhile(IsHexDigit);
    return zeros + digits > 0 && digits <= kMaxHexDigits;
  }

  bool SkipDigits() { return SkipWhile(IsDigit) > 0; }

  void SkipSign() {
    if (!Skip('-')) {
      Skip('+');
    }
  }

  bool SkipNumber() {
    SkipSign();
    if (!SkipDigits()) {
      return false;
    }
    if (Skip('.')) {
      SkipDigits();
    }
    if (Lower(First()) != 'e') {
      return true;
    }
    rest_.remove_prefix(1);
    SkipSign();
    return SkipDigits();
  }

  std::string_view rest_;
};

}  // namespace

std::optional<std::size_t> CountLiterals(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {  // SQLite would see the part in front of it only
    return std::nullopt;
  }
  LiteralReader reader(text);
  std::size_t count = 0;
  do {
    reader.SkipBlanks();
    if (!reader.SkipLiteral()) {
      return std::nullopt;
    }
    ++count;
    reader.SkipBlanks();
  } while (reader.Skip(','));
  if (!reader.AtEnd()) {
    return std::nullopt;
  }
  return count;
}

}  // namespace datacollector
