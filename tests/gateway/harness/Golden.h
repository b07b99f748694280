// Comparing what the daemon prints with the texts it is meant to print.
//
// Three threads print, and their lines mix. A thread's own texts must come completely and in their order;
// whatever stands between them must be something that an idle daemon prints too.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace datacollector::gateway {

// A text per entry, its line end included where it has one. "{}" stands for any characters but a line end.
using Texts = std::vector<std::string>;

// Cuts a transcript into its texts: at every line end, and behind those texts that have none. START and END
// trace lines are left out: they belong to every function.
Texts TextsOf(std::string_view transcript);

bool Matches(std::string_view text, std::string_view expected);

// The texts of an idle daemon, with its numbers made equal.
class IdleVocabulary {
 public:
  explicit IdleVocabulary(std::string_view idleTranscript);
  bool Knows(const std::string& text) const { return texts_.contains(WithoutNumbers(text)); }

 private:
  static std::string WithoutNumbers(const std::string& text);
  std::set<std::string> texts_;
};

// A section of a file of the folder golden/, see the README there. `values` are what the test fills in.
Texts GoldenTexts(const std::string& file, const std::string& section,
                  const std::map<std::string, std::string>& values = {});

// Whether all of `expected` comes in this order.
testing::AssertionResult ComesInOrder(std::string_view transcript, const Texts& expected);

// The same, and nothing else comes but what `idle` knows and what one of `others` matches.
testing::AssertionResult ComesAlone(std::string_view transcript, const Texts& expected,
                                    const IdleVocabulary& idle, const Texts& others = {});

}  // namespace datacollector::gateway
