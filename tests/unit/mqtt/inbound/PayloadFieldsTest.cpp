#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mqtt/inbound/PayloadFields.h"

namespace datacollector {
namespace {

std::vector<std::string> FieldsOf(std::string_view text) {
  std::vector<std::string> fields;
  PayloadFields reader(text);
  for (auto field = reader.Next(); field; field = reader.Next()) {
    fields.emplace_back(*field);
  }
  return fields;
}

using Fields = std::vector<std::string>;

TEST(PayloadFieldsTest, EveryCommaSeparates) {
  EXPECT_EQ(FieldsOf("a,b,c"), (Fields{"a", "b", "c"}));
  EXPECT_EQ(FieldsOf("a"), (Fields{"a"}));
}

TEST(PayloadFieldsTest, AnEmptyFieldKeepsItsPlace) {
  EXPECT_EQ(FieldsOf("a,,c,"), (Fields{"a", "", "c", ""}));
  EXPECT_EQ(FieldsOf(","), (Fields{"", ""}));
  EXPECT_EQ(FieldsOf(""), (Fields{""}));
}

TEST(PayloadFieldsTest, ACommaInsideQuotesSeparatesToo) {
  EXPECT_EQ(FieldsOf(R"("a,b",c)"), (Fields{"\"a", "b\"", "c"}));
}

TEST(PayloadFieldsTest, NothingFollowsTheLastField) {
  PayloadFields fields("a");
  fields.Next();
  EXPECT_EQ(fields.Next(), std::nullopt);
  EXPECT_EQ(fields.Next(), std::nullopt);
  EXPECT_EQ(fields.NextNumber(), 0);
  EXPECT_EQ(fields.Rest(), "");
}

TEST(PayloadFieldsTest, TheRestIsWhatFollowsTheComma) {
  PayloadFields fields("1,a,b");
  EXPECT_EQ(fields.NextNumber(), 1);
  EXPECT_EQ(fields.Rest(), "a,b");
  EXPECT_EQ(fields.Next(), "a");
  EXPECT_EQ(fields.Rest(), "b");
}

TEST(PayloadFieldsTest, PlacesAreCountedFromOne) {
  EXPECT_EQ(FieldAt("a,b,c", 1), "a");
  EXPECT_EQ(FieldAt("a,b,c", 3), "c");
  EXPECT_EQ(FieldAt("a,b,c", 4), std::nullopt);
  EXPECT_EQ(FieldAt("a,,c", 2), "");
}

TEST(PayloadFieldsTest, AMissingOrEmptyNumberIsZero) {
  EXPECT_EQ(NumberAt("1,22,333", 2), 22);
  EXPECT_EQ(NumberAt("1,,333", 2), 0);
  EXPECT_EQ(NumberAt("1", 2), 0);
}

TEST(WithoutQuotesTest, TakesBlanksAndDoubleQuotesOffBothEnds) {
  EXPECT_EQ(WithoutQuotes("\"SITE01\""), "SITE01");
  EXPECT_EQ(WithoutQuotes(" \t\"SITE01\" "), "SITE01");
  EXPECT_EQ(WithoutQuotes("SITE 01"), "SITE 01");
  EXPECT_EQ(WithoutQuotes("\"a\"b\""), "a\"b");
  EXPECT_EQ(WithoutQuotes("'a'"), "'a'");
  EXPECT_EQ(WithoutQuotes("\"\""), "");
  EXPECT_EQ(WithoutQuotes(""), "");
}

}  // namespace
}  // namespace datacollector
