#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ground/Numbers.h"

namespace datacollector {
namespace {

TEST(DecimalValueTest, TakesBlanksASignAndDigits) {
  const std::vector<std::pair<std::string_view, std::int32_t>> cases = {
      {"7", 7},    {"007", 7}, {"-7", -7}, {"+7", 7},   {" \t\n\v\f\r7", 7},
      {"7abc", 7}, {"7 8", 7}, {"7.9", 7}, {"0x10", 0}, {"\"7\"", 0},
      {"abc", 0},  {"", 0},    {"-", 0},   {"+", 0},    {"- 7", 0},
      {"--7", 0},  {"   ", 0}, {"1e3", 1}, {"-0", 0},   {"2147483647", 2147483647},
  };
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(DecimalValue(text), value) << text;
  }
}

TEST(DecimalValueTest, ANumberThatDoesNotFitIsTheNearestThatDoes) {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(DecimalValue("2147483648"), kMax);
  EXPECT_EQ(DecimalValue("-2147483647"), kMin + 1);
  EXPECT_EQ(DecimalValue("-2147483648"), kMin);
  EXPECT_EQ(DecimalValue("-2147483649"), kMin);
  EXPECT_EQ(DecimalValue(std::string(1000, '9')), kMax);
  EXPECT_EQ(DecimalValue("-" + std::string(1000, '9')), kMin);
}

TEST(BoundedTest, ACountIsCutToTheRoomAndNeverNegative) {
  EXPECT_EQ(Bounded(-1, 10), 0U);
  EXPECT_EQ(Bounded(0, 10), 0U);
  EXPECT_EQ(Bounded(10, 10), 10U);
  EXPECT_EQ(Bounded(11, 10), 10U);
  EXPECT_EQ(Bounded(std::numeric_limits<std::int32_t>::min(), 10), 0U);
}

}  // namespace
}  // namespace datacollector
