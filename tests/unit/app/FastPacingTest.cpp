// How long a fast round may be waited for.
#include <gtest/gtest.h>

#include "app/FastPacing.h"

namespace datacollector {
namespace {

constexpr std::int32_t kPause = 10;  // the operator's
constexpr std::int64_t kNow = 5'000'000'000;

TEST(FastPacing, ARoundThatCouldDoNothingIsFollowedByASecond) {
  FastPacing pacing;
  EXPECT_EQ(pacing.TakePause(kPause, kNow), 1000);
  for (const SendOutcome outcome : {SendOutcome::HeldBack, SendOutcome::NoneLeft}) {
    pacing.Note(AIO, outcome, kPause, kNow);
    EXPECT_EQ(pacing.TakePause(kPause, kNow), 1000);
    EXPECT_FALSE(pacing.HoldsBack(AIO, kNow));
  }
}

TEST(FastPacing, ARoundThatHandedSomethingOverIsFollowedByTheOperatorsPauseOnce) {
  FastPacing pacing;
  pacing.Note(AIO, SendOutcome::HandedOver, kPause, kNow);
  pacing.Note(DIO, SendOutcome::NoneLeft, kPause, kNow);
  EXPECT_EQ(pacing.TakePause(kPause, kNow), kPause);
  EXPECT_EQ(pacing.TakePause(kPause, kNow), 1000);
}

TEST(FastPacing, AFailureIsTriedAgainAfterThePauseWhichDoublesUpToASecond) {
  FastPacing pacing;
  std::int64_t now = kNow;
  for (const std::int32_t pause : {10, 20, 40, 80, 160, 320, 640, 1000, 1000}) {
    pacing.Note(RS485, SendOutcome::Failed, kPause, now);
    EXPECT_EQ(pacing.TakePause(kPause, now), pause);
    EXPECT_TRUE(pacing.HoldsBack(RS485, now + pause - 1));
    now += pause;
    EXPECT_FALSE(pacing.HoldsBack(RS485, now));
  }
}

TEST(FastPacing, AFailureHoldsBackItsOwnKindAlone) {
  FastPacing pacing;
  pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
  EXPECT_TRUE(pacing.HoldsBack(RS485, kNow));
  EXPECT_FALSE(pacing.HoldsBack(RS232, kNow));
}

TEST(FastPacing, ASuccessEndsTheDoubling) {
  for (const SendOutcome outcome : {SendOutcome::HandedOver, SendOutcome::NoneLeft}) {
    FastPacing pacing;
    pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
    pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
    pacing.Note(RS485, outcome, kPause, kNow);
    EXPECT_FALSE(pacing.HoldsBack(RS485, kNow));
    pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
    EXPECT_EQ(pacing.TakePause(kPause, kNow), kPause);
  }
}

// The table was not looked at: nothing is known about what failed.
TEST(FastPacing, AKindThatIsHeldBackKeepsItsPause) {
  FastPacing pacing;
  pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
  pacing.Note(RS485, SendOutcome::HeldBack, kPause, kNow);
  EXPECT_TRUE(pacing.HoldsBack(RS485, kNow));
  pacing.Note(RS485, SendOutcome::Failed, kPause, kNow);
  EXPECT_EQ(pacing.TakePause(kPause, kNow), 2 * kPause);
}

TEST(FastPacing, TheNextTrialIsNotWaitedPast) {
  FastPacing pacing;
  pacing.Note(RS485, SendOutcome::Failed, 300, kNow);
  pacing.Note(RS232, SendOutcome::Failed, 300, kNow + 100);
  EXPECT_EQ(pacing.TakePause(300, kNow + 200), 100);
  EXPECT_EQ(pacing.TakePause(300, kNow + 300), 100);
  EXPECT_EQ(pacing.TakePause(300, kNow + 400), 1000);
}

}  // namespace
}  // namespace datacollector
