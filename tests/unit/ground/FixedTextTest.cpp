#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

#include "ground/FixedText.h"

namespace datacollector {
namespace {

using namespace std::string_literals;

// Digits from 1 on, a number of them that the compiler can't know: it would warn of what the tests are about.
std::string Digits(std::size_t count) {
  const volatile std::size_t unknown = count;
  return "123456789"s.substr(0, unknown);
}

TEST(FixedText, TakesATextOfItsWholeLength) {
  FixedText<5> text{};
  EXPECT_TRUE(text.Assign("12345"));
  EXPECT_STREQ(text.c_str(), "12345");
  EXPECT_EQ(text.view(), "12345");
  EXPECT_FALSE(text.empty());
}

TEST(FixedText, CutsALongerTextAndSaysSo) {
  FixedText<5> text{};
  EXPECT_FALSE(text.Assign(Digits(6)));
  EXPECT_STREQ(text.c_str(), "12345");
}

TEST(FixedText, AssigningAShorterTextLeavesNothingOfTheLongerOne) {
  FixedText<5> text{};
  text.Assign("12345");
  EXPECT_TRUE(text.Assign("ab"));
  EXPECT_EQ(std::string(text.characters.begin(), text.characters.end()), "ab\0\0\0\0"s);
}

TEST(FixedText, AppendsBehindTheText) {
  FixedText<5> text{};
  EXPECT_TRUE(text.Append("ab"));
  EXPECT_TRUE(text.Append("cde"));
  EXPECT_STREQ(text.c_str(), "abcde");
}

TEST(FixedText, AppendingCutsAtTheEndAndSaysSo) {
  FixedText<5> text{};
  text.Assign("abc");
  EXPECT_FALSE(text.Append("defg"));
  EXPECT_STREQ(text.c_str(), "abcde");
  EXPECT_FALSE(text.Append("x"));
  EXPECT_TRUE(text.Append(""));
  EXPECT_STREQ(text.c_str(), "abcde");
}

TEST(FixedText, TakesASourceUpToItsFirstNul) {
  FixedText<9> text{};
  EXPECT_TRUE(text.Assign("ab\0cd"s));
  EXPECT_EQ(text.view(), "ab");
  EXPECT_TRUE(text.Append("ef\0gh"s));
  EXPECT_EQ(text.view(), "abef");
}

TEST(FixedText, ANulBehindTheRoomIsNoReasonToCallATextCut) {
  FixedText<2> text{};
  EXPECT_TRUE(text.Assign("ab\0c"s));
}

TEST(FixedText, FormatsAndCuts) {
  FixedText<5> text{};
  EXPECT_TRUE(text.Format("%d-%s", 12, "ab"));
  EXPECT_STREQ(text.c_str(), "12-ab");
  EXPECT_FALSE(text.Format("%d-%s", 12, Digits(3).c_str()));
  EXPECT_STREQ(text.c_str(), "12-12");
}

TEST(FixedText, ClearedItIsEmptyToTheLastByte) {
  FixedText<5> text{};
  text.Assign("12345");
  text.Clear();
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(std::string(text.characters.begin(), text.characters.end()), std::string(6, '\0'));
}

TEST(FixedText, ViewEndsInsideTheRoomEvenWithoutATerminator) {
  FixedText<3> text{};
  text.characters.fill('x');
  EXPECT_EQ(text.view(), "xxx");
}

TEST(FixedText, AZeroedOneIsEmpty) {
  static_assert(std::is_trivially_copyable_v<FixedText<7>>);
  FixedText<7> text;
  std::memset(&text, 0, sizeof text);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(text.view(), "");
}

TEST(FixedText, ATimeStampHasRoomFor24Characters) {
  EXPECT_EQ(TimeStampText::kCapacity, 24U);
  EXPECT_EQ(sizeof(TimeStampText), 25U);
}

}  // namespace
}  // namespace datacollector
