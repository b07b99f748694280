// What counts as record data: lists of SQL literals and nothing else.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <string_view>

#include "store/RecordData.h"

namespace datacollector {
namespace {

using std::string_view_literals::operator""sv;

class AcceptedLiteral : public ::testing::TestWithParam<std::string_view> {};
TEST_P(AcceptedLiteral, IsOneValueThatSqliteReadsAsAConstant) {
  const std::string text(GetParam());
  EXPECT_EQ(CountLiterals(text), 1U);
  EXPECT_EQ(CountLiterals("1," + text + ",2"), 3U);
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &handle), SQLITE_OK);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  EXPECT_EQ(sqlite3_exec(handle, ("VALUES(" + text + ")").c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(handle);
  sqlite3_close(handle);
}
INSTANTIATE_TEST_SUITE_P(Numbers, AcceptedLiteral,
                         ::testing::Values("0", "7", "007", "-1", "+1", "12.34", "-0.5", "5.", "1e5", "1E5",
                                           "1e+5", "1.5e-3", "5.e3", "9e999",
                                           "123456789012345678901234567890", "0x0", "0X1f",
                                           "0xFFFFFFFFFFFFFFFF", "0x00000000000000000001"));
INSTANTIATE_TEST_SUITE_P(Texts, AcceptedLiteral,
                         ::testing::Values(R"("")", "''", R"("<")", "'a'", R"("a""b")", "'a''b'", R"("it's")",
                                           R"('say "x"')", R"("a,b")", R"(");drop table t;--")", "'\n\t'",
                                           "\"\xc3\xa9\xff\"", R"("rowid")", R"("""")", "''''"));
INSTANTIATE_TEST_SUITE_P(Nulls, AcceptedLiteral, ::testing::Values("NULL", "null", "NuLl"));
INSTANTIATE_TEST_SUITE_P(Blanks, AcceptedLiteral,
                         ::testing::Values(" 1", "1 ", "\t1\r\n", "\f'a' ", " \t\r\n\fNULL\f\n\r\t "));

class RefusedText : public ::testing::TestWithParam<std::string_view> {};
TEST_P(RefusedText, IsNoListOfLiterals) {
  EXPECT_EQ(CountLiterals(GetParam()), std::nullopt);
  EXPECT_EQ(CountLiterals("1," + std::string(GetParam())), std::nullopt);
  EXPECT_EQ(CountLiterals(std::string(GetParam()) + ",1"), std::nullopt);
}
INSTANTIATE_TEST_SUITE_P(Empty, RefusedText, ::testing::Values("", " ", ",", "1,", ",1", "1,,2"));
INSTANTIATE_TEST_SUITE_P(Numbers, RefusedText,
                         ::testing::Values(".5", "-", "+", "--1", "+-1", "- 1", "1e", "1e+", "1.2.3", "1a",
                                           "0x", "0xg", "-0x1", "0x1.5", "0x10000000000000000", "1 2",
                                           "1_000", "1e1.5", "inf", "nan"));
INSTANTIATE_TEST_SUITE_P(Texts, RefusedText,
                         ::testing::Values("'a", "\"a", "'a'b'", "'a' 'b'", "'a'\"b\"", "a", "`a`", "[a]",
                                           "x'00'", "'", "\""));
INSTANTIATE_TEST_SUITE_P(Words, RefusedText,
                         ::testing::Values("NUL", "NULLS", "NULL1", "TRUE", "CURRENT_TIME", "rowid"));
INSTANTIATE_TEST_SUITE_P(Expressions, RefusedText,
                         ::testing::Values("hex(7777)", "1+1", "(1)", "(SELECT 1)", "'a'||'b'", "1;2", "?",
                                           "@a", ":a", "$a", "1--2", "1/**/", "/**/1", "'a'--",
                                           "1);DROP TABLE t;--"));
INSTANTIATE_TEST_SUITE_P(OtherCharacters, RefusedText,
                         ::testing::Values("\v1", "1\v", "\0"sv, "1\0"sv,
                                           "\xc2\xa0"
                                           "1"));

// Each by itself is a legal literal: it is the wrapping in a record text that makes it an expression.
TEST(RecordDataTest, AnIdentityThatEndsItsQuotesIsRefusedInTheWholeText) {
  const std::string identity = R"("||hex(7777)||")";
  EXPECT_TRUE(CountLiterals("'" + identity + "'"));
  EXPECT_FALSE(CountLiterals("\"<\",\"" + identity + "\",\"GW0001\",0"));
}

TEST(RecordDataTest, CountsTheValuesOfARecordText) {
  EXPECT_EQ(CountLiterals(R"("<","SITE01","GW0001",0,7,"ORU2_1.0.0",99,1,"<","M417",0,7,99,12.34,56.78,)"
                          R"("2026-11-20 10:00:00",0,"0",">","2026-11-20 10:00:05",">")"),
            21U);
}

// The text ends where a page that can't be read begins.
TEST(RecordDataTest, ReadsNothingBehindTheEnd) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  void* memory = ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  char* end = static_cast<char*>(memory) + page;
  ASSERT_EQ(::mprotect(end, page, PROT_NONE), 0);
  for (const std::string_view text : {"", "-", "1", "1.", "1e", "1e+", "0", "0x", "n", "nul", "null", "'",
                                      "'a", "'a'", "\"a\"\"", "1,", "1, "}) {
    char* begin = end - text.size();
    std::memcpy(begin, text.data(), text.size());
    EXPECT_EQ(CountLiterals({begin, text.size()}), CountLiterals(text)) << text;
  }
  ::munmap(memory, 2 * page);
}

// A text of four million characters takes a moment; work that grew with its square would take hours.
TEST(RecordDataTest, TakesTimeInProportionToTheLength) {
  const std::string quotes(4'000'000, '"');
  EXPECT_EQ(CountLiterals(quotes), 1U);
  std::string list = "1";
  for (int value = 0; value < 1'000'000; ++value) {
    list += " , 1";
  }
  EXPECT_EQ(CountLiterals(list), 1'000'001U);
  EXPECT_EQ(CountLiterals(std::string(4'000'000, '-')), std::nullopt);
}

TEST(RecordDataTest, ATextWithASingleQuoteCantStandBetweenSingleQuotes) {
  EXPECT_TRUE(IsQuotable(""));
  EXPECT_TRUE(IsQuotable("2026-11-20 10:00:00"));
  EXPECT_TRUE(IsQuotable("\"\\;--"));
  EXPECT_FALSE(IsQuotable("'"));
  EXPECT_FALSE(IsQuotable("a' WHERE 1=1;--"));
}

}  // namespace
}  // namespace datacollector
