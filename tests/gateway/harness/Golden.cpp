#include "gateway/harness/Golden.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <fstream>
#include <regex>

namespace datacollector::gateway {
namespace {

constexpr std::string_view kWildcard = "{}";

// Texts that are printed without a line end, so that the next one follows on the same line.
const std::regex& OpenTexts() {
  static const std::regex pattern(
      R"((#{30}Inside HTTP Thread,but Not Sending records\. Flag is not set#{29}))"
      R"(|([A-Za-z0-9]+DBRecord number \d+ (publishing|published successfully)))"
      R"(|(Prepared String to Query( RS232| SNMP)?= ?\w*[a-z]\d))");
  return pattern;
}

bool IsTraceLine(std::string_view text) {
  return text.starts_with("FILE:") && (text.ends_with(":START\n") || text.ends_with(":END\n"));
}

void AddCutAtOpenTexts(const std::string& line, Texts& texts) {
  std::string rest = line;
  std::smatch open;
  while (std::regex_search(rest, open, OpenTexts()) && open.suffix().str() != "\n") {
    const std::string before = open.prefix();
    if (!before.empty()) {
      texts.push_back(before);
    }
    texts.push_back(open.str());
    rest = open.suffix().str();
  }
  if (!rest.empty() && !IsTraceLine(rest)) {
    texts.push_back(rest);
  }
}

void ReplaceAll(std::string& text, const std::string& name, const std::string& value) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
    text.replace(at, name.size(), value);
  }
}

bool IsBlank(const std::string& text) { return text == "\n" || text == " \n"; }

}  // namespace

Texts TextsOf(std::string_view transcript) {
  // The one text that ends with the beginning of a line: what comes next is a text of its own.
  static const std::regex kWindowText(R"((PeriodicMinute\[AIO\]=\d \*{8} \n\n) )");
  const std::string lines = std::regex_replace(std::string(transcript), kWindowText, "$1");
  Texts texts;
  for (std::string_view rest = lines; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    const std::size_t length = end == std::string_view::npos ? rest.size() : end + 1;
    AddCutAtOpenTexts(std::string(rest.substr(0, length)), texts);
    rest.remove_prefix(length);
  }
  return texts;
}

Texts GoldenTexts(const std::string& file, const std::string& section,
                  const std::map<std::string, std::string>& values) {
  std::ifstream lines(DATACOLLECTOR_SOURCE_DIR "/tests/gateway/golden/" + file + ".golden");
  const std::string heading = "[" + section + "]";
  Texts texts;
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[') && line.ends_with(']')) {
      inside = line == heading;
    } else if (inside) {
      for (const auto& [name, value] : values) {
        ReplaceAll(line, "{" + name + "}", value);
      }
      texts.push_back(line.ends_with('\\') ? line.substr(0, line.size() - 1) : line + "\n");
    }
  }
  EXPECT_FALSE(texts.empty()) << file << " " << heading;
  return texts;
}

bool Matches(std::string_view text, std::string_view expected) {
  std::size_t wildcard = expected.find(kWildcard);
  if (wildcard == std::string_view::npos) {
    return text == expected;
  }
  if (!text.starts_with(expected.substr(0, wildcard))) {
    return false;
  }
  text.remove_prefix(wildcard);
  expected.remove_prefix(wildcard + kWildcard.size());
  for (wildcard = expected.find(kWildcard); wildcard != std::string_view::npos;
       wildcard = expected.find(kWildcard)) {
    const std::size_t at = text.find(expected.substr(0, wildcard));
    if (at == std::string_view::npos) {
      return false;
    }
    text.remove_prefix(at + wildcard);
    expected.remove_prefix(wildcard + kWildcard.size());
  }
  return text.ends_with(expected);
}

IdleVocabulary::IdleVocabulary(std::string_view idleTranscript) {
  for (const std::string& text : TextsOf(idleTranscript)) {
    texts_.insert(WithoutNumbers(text));
  }
}

std::string IdleVocabulary::WithoutNumbers(const std::string& text) {
  std::string equal;
  for (const char character : text) {
    const bool digit = std::isdigit(static_cast<unsigned char>(character)) != 0;
    if (!digit) {
      equal += character;
    } else if (!equal.ends_with('0')) {
      equal += '0';
    }
  }
  return equal;
}

testing::AssertionResult ComesInOrder(std::string_view transcript, const Texts& expected) {
  const Texts texts = TextsOf(transcript);
  auto next = texts.begin();
  for (const std::string& text : expected) {
    const auto found = std::find_if(next, texts.end(),
                                    [&text](const std::string& printed) { return Matches(printed, text); });
    if (found == texts.end()) {
      const bool earlier = std::any_of(
          texts.begin(), next, [&text](const std::string& printed) { return Matches(printed, text); });
      return testing::AssertionFailure() << (earlier ? "comes too early: " : "is missing: ") << text;
    }
    next = found + 1;
  }
  return testing::AssertionSuccess();
}

testing::AssertionResult ComesAlone(std::string_view transcript, const Texts& expected,
                                    const IdleVocabulary& idle, const Texts& others) {
  std::string problems;
  auto next = expected.begin();
  for (const std::string& text : TextsOf(transcript)) {
    if (next != expected.end() && Matches(text, *next)) {
      ++next;
    } else if (!IsBlank(text) && !idle.Knows(text) &&
               std::none_of(others.begin(), others.end(),
                            [&text](const std::string& other) { return Matches(text, other); })) {
      problems += "unexpected: " + text;
    }
  }
  if (next != expected.end()) {
    problems += "is missing or out of order: " + *next;
  }
  return problems.empty() ? testing::AssertionSuccess() : testing::AssertionFailure() << problems;
}

}  // namespace datacollector::gateway
