#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "config/NameValueFile.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {
namespace {

using Entry = std::pair<std::string, std::string>;

class NameValueFile : public ConfigTest {
 protected:
  Reading Parse(const std::string& path) {
    return Captured([&] { return ParseContentFromConfig(names_.get(), values_.get(), path.c_str()); });
  }

  // The entries of a file with this text.
  std::vector<Entry> EntriesOf(const std::string& text) {
    const Reading reading = Parse(Write("file.cfg", text));
    std::vector<Entry> entries;
    for (std::size_t index = 0; static_cast<int>(index) < reading.result; ++index) {
      entries.emplace_back((*names_)[index].c_str(), (*values_)[index].c_str());
    }
    return entries;
  }

  std::unique_ptr<EntryTexts> names_ = std::make_unique<EntryTexts>();
  std::unique_ptr<EntryTexts> values_ = std::make_unique<EntryTexts>();
};

TEST_F(NameValueFile, HoldsOneEntryALineInFileOrder) {
  EXPECT_EQ(EntriesOf("b = 2\na = 1\nb = 3\n"), (std::vector<Entry>{{"b", "2"}, {"a", "1"}, {"b", "3"}}));
}

TEST_F(NameValueFile, SkipsBlanksAroundNameAndValue) {
  EXPECT_EQ(EntriesOf(" \t SiteID \t = \t TEXT \t # of the site\n"),
            (std::vector<Entry>{{"SiteID", "TEXT"}}));
}

TEST_F(NameValueFile, KeepsBlanksInsideNameAndValue) {
  EXPECT_EQ(EntriesOf("Site ID=two  words\n"), (std::vector<Entry>{{"Site ID", "two  words"}}));
}

TEST_F(NameValueFile, IgnoresLinesWithoutEqualsSign) {
  EXPECT_EQ(EntriesOf("\n  \t \nSiteID\n\"<\"\n"), std::vector<Entry>{});
}

TEST_F(NameValueFile, TakesALineThatStartsWithAHashAsCommentEvenWithAnEqualsSign) {
  EXPECT_EQ(EntriesOf("#a = 1\n \t # b = 2\nc = 3\n"), (std::vector<Entry>{{"c", "3"}}));
}

TEST_F(NameValueFile, KeepsAHashInTheName) {
  EXPECT_EQ(EntriesOf("a # b = 1\n"), (std::vector<Entry>{{"a # b", "1"}}));
}

TEST_F(NameValueFile, EndsTheNameAtTheFirstEqualsSign) {
  EXPECT_EQ(EntriesOf("a = b = c\n"), (std::vector<Entry>{{"a", "b = c"}}));
}

TEST_F(NameValueFile, AllowsEmptyNamesAndValues) {
  EXPECT_EQ(EntriesOf("= 1\na =\nb = # nothing\n =\n"),
            (std::vector<Entry>{{"", "1"}, {"a", ""}, {"b", ""}, {"", ""}}));
}

TEST_F(NameValueFile, KeepsCarriageReturnsAtTheEndOfValues) {
  EXPECT_EQ(EntriesOf("a = 1\r\nb =\r\n"), (std::vector<Entry>{{"a", "1\r"}, {"b", "\r"}}));
}

TEST_F(NameValueFile, ReadsALastLineWithoutLineEnd) {
  EXPECT_EQ(EntriesOf("a = 1\nb = 2"), (std::vector<Entry>{{"a", "1"}, {"b", "2"}}));
}

TEST_F(NameValueFile, ReadsALongLineAsSeveralLines) {
  // The first reading ends after 499 characters, the second one starts in the middle of the value.
  const std::string value(600, 'v');
  EXPECT_EQ(EntriesOf("a=" + value + "b=tail\n"),
            (std::vector<Entry>{{"a", value.substr(0, 497)}, {value.substr(497) + "b", "tail"}}));
}

TEST_F(NameValueFile, FillsASlotToItsLastCharacter) {
  EXPECT_EQ(EntriesOf("=" + std::string(498, 'v') + "\n"), (std::vector<Entry>{{"", std::string(498, 'v')}}));
  EXPECT_EQ(EntriesOf(std::string(498, 'n') + "=\n"), (std::vector<Entry>{{std::string(498, 'n'), ""}}));
}

TEST_F(NameValueFile, EndsALineAtANulCharacter) {
  EXPECT_EQ(EntriesOf(std::string("a = 1\0 2\nb = 3\n", 15)), (std::vector<Entry>{{"a", "1"}, {"b", "3"}}));
}

TEST_F(NameValueFile, HasNoEntriesWhenItIsEmpty) { EXPECT_EQ(EntriesOf(""), std::vector<Entry>{}); }

TEST_F(NameValueFile, LeavesTheSlotsBehindTheLastEntryAlone) {
  (*names_)[1].Assign("old name");
  (*values_)[1].Assign("old value");
  EXPECT_EQ(EntriesOf("a = 1\n"), (std::vector<Entry>{{"a", "1"}}));
  EXPECT_STREQ((*names_)[1].c_str(), "old name");
  EXPECT_STREQ((*values_)[1].c_str(), "old value");
}

TEST_F(NameValueFile, ReportsSuccessOnStandardError) {
  const std::string path = Write("file.cfg", "a = 1\n");
  const Reading reading = Parse(path);
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.out, Traced("NameValueFile.cpp", "ParseContentFromConfig",
                                "Configuration file '" + path + "' opened successfully\n"));
  EXPECT_EQ(reading.err, "Returning Success from function ParseContentFromConfig\n");
}

TEST_F(NameValueFile, FailsWhenItCanNotBeOpened) {
  const std::string path = PathOf("missing.cfg");
  const Reading reading = Parse(path);
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced("NameValueFile.cpp", "ParseContentFromConfig", ""));
  EXPECT_EQ(reading.err, "Unable to open the configuration file '" + path +
                             "'\nReturning Failure from function ParseContentFromConfig\n");
}

TEST_F(NameValueFile, HasNoEntriesAndAnErrorWhenItIsADirectory) {
  const std::string path = PathOf("");
  const Reading reading = Parse(path);
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, path + ": Is a directory\nReturning Success from function ParseContentFromConfig\n");
}

TEST_F(NameValueFile, FailsWithoutATableOfNames) {
  const Reading reading =
      Captured([&] { return ParseContentFromConfig(nullptr, values_.get(), PathOf("any").c_str()); });
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.err,
            "The string names contains a NULL value\n"
            "Returning Failure from function ParseContentFromConfig\n");
}

TEST_F(NameValueFile, FailsWithoutATableOfValues) {
  const Reading reading =
      Captured([&] { return ParseContentFromConfig(names_.get(), nullptr, PathOf("any").c_str()); });
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.err,
            "The string values contains a NULL value\n"
            "Returning Failure from function ParseContentFromConfig\n");
}

TEST_F(NameValueFile, StoresTwoHundredEntriesAndSaysThatTheRestIsDropped) {
  std::string text;
  for (int index = 1; index <= 203; ++index) {
    text += "column" + std::to_string(index) + " = TEXT\n";
  }
  const std::string path = Write("file.cfg", text);
  const Reading reading = Parse(path);
  EXPECT_EQ(reading.result, 200);
  EXPECT_STREQ(names_->back().c_str(), "column200");
  EXPECT_EQ(reading.err, "Configuration file '" + path +
                             "' has more than 200 entries, the rest is dropped\n"
                             "Returning Success from function ParseContentFromConfig\n");
}

}  // namespace
}  // namespace datacollector
