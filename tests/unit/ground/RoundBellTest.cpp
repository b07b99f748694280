// What wakes the forwarding thread with fast rounds.
#include <gtest/gtest.h>

#include <thread>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/RoundBell.h"

namespace datacollector {
namespace {

// As good as for ever: a ring that is lost makes the test run into its limit.
constexpr std::int32_t kLong = 600'000;
constexpr std::int32_t kShort = 1;

class RoundBell : public ::testing::Test {
 protected:
  RoundBell() {
    ZeroFlags();
    gMainState.ui16_FastRoundPause = 10;
    AwaitRing(0);
  }
  ~RoundBell() override {
    AwaitRing(0);
    gMainState.ui16_FastRoundPause = 0;
    gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 0;
    ZeroFlags();
  }
};

TEST_F(RoundBell, ARingDuringTheRoundBeginsTheNextOneAtOnce) {
  RingForRound();
  EXPECT_TRUE(AwaitRing(kLong));
}

TEST_F(RoundBell, ManyRingsAreOne) {
  RingForRound();
  RingForRound();
  EXPECT_TRUE(AwaitRing(kLong));
  EXPECT_FALSE(AwaitRing(kShort));
}

TEST_F(RoundBell, ARingEndsAWait) {
  std::thread ringing([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    RingForRound();
  });
  EXPECT_TRUE(AwaitRing(kLong));
  ringing.join();
}

TEST_F(RoundBell, WithoutARingTheTimeEndsAWait) { EXPECT_FALSE(AwaitRing(kShort)); }

TEST_F(RoundBell, NobodyIsWokenWhereRoundsAreNotFast) {
  gMainState.ui16_FastRoundPause = 0;
  EXPECT_FALSE(FastRounds());
  RingForRound();
  EXPECT_FALSE(AwaitRing(kShort));
}

TEST_F(RoundBell, NoRingIsLostBetweenTwoThreads) {
  constexpr int kRounds = 20000;
  std::atomic<int> asked = 0;
  std::atomic<int> seen = 0;
  std::thread rounds([&] {
    while (seen < kRounds) {
      AwaitRing(kLong);
      seen = asked.load();
    }
  });
  for (int round = 1; round <= kRounds; ++round) {
    asked = round;
    RingForRound();
  }
  rounds.join();
  EXPECT_EQ(seen, kRounds);
}

TEST_F(RoundBell, AStoredMeterRecordIsDueAtOnceWithFastRoundsAlone) {
  KindSendFlags& flags = CloudConnectSendFlags[RS232];
  flags.gui8_NoDCDBRecordsToPublish = 1;
  gMainState.ui16_FastRoundPause = 0;
  WantFastRound(RS232);
  EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(flags.gui8_NoDCDBRecordsToPublish, 1);
  gMainState.ui16_FastRoundPause = 10;
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  WantFastRound(RS232);
  EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, 0);
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 0;
  WantFastRound(RS232);
  EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, 1);
  EXPECT_EQ(flags.gui8_NoDCDBRecordsToPublish, 0);
}

}  // namespace
}  // namespace datacollector
