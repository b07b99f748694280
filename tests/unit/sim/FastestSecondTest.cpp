#include <gtest/gtest.h>

#include "FastestSecond.h"

namespace datacollector::sim {
namespace {

TEST(FastestSecond, IsEmptyAtFirst) { EXPECT_EQ(FastestSecond().Records(), 0U); }

TEST(FastestSecond, CountsWhatLiesWithinASecond) {
  FastestSecond fastest;
  for (const double now : {0.0, 0.4, 0.9, 1.0, 1.3, 5.0}) {
    fastest.Note(now);
  }
  EXPECT_EQ(fastest.Records(), 4U);  // from 0.4 to 1.3
}

TEST(FastestSecond, RemembersTheFastestOne) {
  FastestSecond fastest;
  for (int record = 0; record < 100; ++record) {
    fastest.Note(7.0);
  }
  fastest.Note(9.0);
  EXPECT_EQ(fastest.Records(), 100U);
}

}  // namespace
}  // namespace datacollector::sim
