// What counts as record data: lists of SQL literals and nothing else.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "store/RecordData.h"

namespace datacollector {
namespace {

void ExpectLiterals(std::initializer_list<std::string_view> literals) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &handle), SQLITE_OK);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  for (const std::string_view literal : literals) {
    const std::string text(literal);
    SCOPED_TRACE(text);
    EXPECT_EQ(CountLiterals(text), 1U);
    EXPECT_EQ(CountLiterals("1," + text + ",2"), 3U);
    EXPECT_EQ(sqlite3_exec(handle, ("VALUES(" + text + ")").c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
  }
  sqlite3_close(handle);
}

void ExpectRefused(std::initializer_list<std::string_view> texts) {
  for (const std::string_view view : texts) {
    const std::string text(view);
    SCOPED_TRACE(text);
    EXPECT_EQ(CountLiterals(text), std::nullopt);
    EXPECT_EQ(CountLiterals("1," + text), std::nullopt);
    EXPECT_EQ(CountLiterals(text + ",1"), std::nullopt);
  }
}

TEST(RecordDataTest, AcceptsNumbers) {
  ExpectLiterals({"0", "7", "007", "-1", "+1", "12.34", "-0.5", "5.", "1e5", "1E5", "1e+5", "1.5e-3", "5.e3",
                  "9e999", "123456789012345678901234567890", "0x0", "0X1f", "0xFFFFFFFFFFFFFFFF",
                  "0x00000000000000000001"});
}

TEST(RecordDataTest, AcceptsTextsInEitherQuotes) {
  ExpectLiterals({R"("")", "''", R"("<")", "'a'", R"("a""b")", "'a''b'", R"("it's")", R"('say "x"')",
                  R"("a,b")", R"(");drop table t;--")", "'\n\t'", "\"\xc3\xa9\xff\"", R"("rowid")", R"("""")",
                  "''''"});
}

TEST(RecordDataTest, AcceptsNullInAnyCase) { ExpectLiterals({"NULL", "null", "NuLl"}); }

TEST(RecordDataTest, AcceptsBlanksAroundALiteral) {
  ExpectLiterals({" 1", "1 ", "\t1\r\n", "\f'a' ", " \t\r\n\fNULL\f\n\r\t "});
}

TEST(RecordDataTest, RefusesEmptyPlaces) { ExpectRefused({"", " ", ",", "1,", ",1", "1,,2"}); }

TEST(RecordDataTest, RefusesWhatOnlyLooksLikeANumber) {
  ExpectRefused({".5",  "-",     "+",     "--1",   "+-1",
                 "- 1", "1e",    "1e+",   "1.2.3", "1a",
                 "0x",  "0xg",   "-0x1",  "0x1.5", "0x10000000000000000",
                 "1 2", "1_000", "1e1.5", "inf",   "nan"});
}

TEST(RecordDataTest, RefusesOpenAndAdjacentTexts) {
  ExpectRefused({"'a", "\"a", "'a'b'", "'a' 'b'", "'a'\"b\"", "a", "`a`", "[a]", "x'00'", "'", "\""});
}

TEST(RecordDataTest, RefusesOtherWords) {
  ExpectRefused({"NUL", "NULLS", "NULL1", "TRUE", "CURRENT_TIME", "rowid"});
}

TEST(RecordDataTest, RefusesExpressionsParametersCommentsAndStatements) {
  ExpectRefused({"hex(7777)", "1+1", "(1)", "(SELECT 1)", "'a'||'b'", "1;2", "?", "@a", ":a", "$a", "1--2",
                 "1/**/", "/**/1", "'a'--", "1);DROP TABLE t;--"});
}

TEST(RecordDataTest, RefusesOtherCharacters) {
  ExpectRefused({"\v1", "1\v", std::string_view("\0", 1), std::string_view("1\0", 2),
                 std::string_view("'\0'", 3), "\xc2\xa0\x31"});
}

// A legal literal where it arrives: wrapped in the double quotes of a field it becomes an expression.
TEST(RecordDataTest, AnIdentityThatEndsItsQuotesIsRefusedInTheWholeText) {
  const std::string identity = R"("||hex(7777)||")";
  EXPECT_TRUE(CountLiterals("'" + identity + "'"));
  EXPECT_FALSE(CountLiterals(R"("<",")" + identity + "\",\"GW0001\",0"));
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
                                      "'a", "'a'", R"("a"")", "1,", "1, "}) {
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
