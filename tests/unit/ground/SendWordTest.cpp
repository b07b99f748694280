// The word that four flags of a kind share with the count of its announcements.
#include <gtest/gtest.h>

#include <thread>

#include "ground/Flags.h"

namespace datacollector {
namespace {

constexpr std::uint32_t kNone = 0;
constexpr std::uint32_t kAll = kRetryDue | kFirstSent | kSendWanted | kSendUnsent;

// What the forwarding thread makes of the flags when it announces a record.
std::uint32_t Announced(std::uint32_t /*now*/) { return kFirstSent; }

TEST(SendWord, ItsFlagsHaveTheirNamesAndLeaveEachOtherAlone) {
  KindSendFlags flags{};
  flags.gui8_SendDCDBRecordRetryFlags = 1;
  EXPECT_EQ(flags.word.Load(), kRetryDue);
  flags.gui8_FirstDCDBRecordSent = 1;
  EXPECT_EQ(flags.word.Load(), kRetryDue | kFirstSent);
  flags.gui8_SendDCDBRecordFlags = 1;
  flags.gui8_SendUnsentDCDBRecord = 1;
  EXPECT_EQ(flags.word.Load(), kAll);
  flags.gui8_FirstDCDBRecordSent = 0;
  EXPECT_EQ(flags.word.Load(), kAll & ~kFirstSent);
  EXPECT_EQ(flags.gui8_FirstDCDBRecordSent, 0);
  EXPECT_EQ(flags.gui8_SendUnsentDCDBRecord, 1);
}

TEST(SendWord, CountsAndReplacesItsFlagsAtOnce) {
  SendWord word{};
  word.Set(kSendUnsent | kSendWanted);
  const std::uint32_t before = word.Load();
  EXPECT_EQ(word.Count(Announced), before);
  EXPECT_NE(word.Load(), kFirstSent);
  EXPECT_EQ(word.Load() & kAll, kFirstSent);
}

TEST(SendWord, TheCountComesRoundWithoutTouchingTheFlags) {
  SendWord word{};
  word.Set(~kNone);
  word.Count(Announced);
  EXPECT_EQ(word.Load(), kFirstSent);
}

TEST(SendWord, AFlagIsSetWhileTheCountStays) {
  SendWord word{};
  const std::uint32_t seen = word.Load();
  word.Set(kSendWanted);
  EXPECT_TRUE(word.SetSince(seen, kRetryDue));
  EXPECT_EQ(word.Load(), kSendWanted | kRetryDue);
}

TEST(SendWord, AFlagThatWasDecidedBeforeAnAnnouncementIsNotSet) {
  SendWord word{};
  const std::uint32_t seen = word.Load();
  word.Count(Announced);
  const std::uint32_t announced = word.Load();
  EXPECT_FALSE(word.SetSince(seen, kRetryDue));
  EXPECT_EQ(word.Load(), announced);
}

// As a confirmation judges: between its look at the number and its store the next record is announced.
TEST(SendWord, AJudgementIsRepeatedWhenARecordIsAnnouncedBehindIt) {
  SendWord word{};
  int lastSent = 5;
  int judgements = 0;
  const auto answersFive = [&](std::uint32_t /*now*/) {
    const bool answers = lastSent == 5;
    if (++judgements == 1) {
      lastSent = 6;
      word.Count(Announced);
    }
    return answers;
  };
  EXPECT_FALSE(word.SetIf(answersFive, kSendUnsent));
  EXPECT_EQ(judgements, 2);
  EXPECT_EQ(word.Load() & kAll, kFirstSent);
}

TEST(SendWord, AJudgementThatHoldsForTheNewWordTakesEffect) {
  SendWord word{};
  int judgements = 0;
  const auto always = [&](std::uint32_t /*now*/) {
    if (++judgements == 1) {
      word.Count(Announced);
    }
    return true;
  };
  const std::optional<std::uint32_t> judgedOn = word.SetIf(always, kSendUnsent);
  ASSERT_TRUE(judgedOn);
  EXPECT_EQ(judgements, 2);
  EXPECT_EQ(word.Load(), *judgedOn | kSendUnsent);
  EXPECT_EQ(word.Load() & kAll, kFirstSent | kSendUnsent);
}

// Two threads for a while: no flag and no announcement gets lost.
TEST(SendWord, NothingIsLostBetweenThreads) {
  constexpr std::uint32_t kRounds = 100000;
  SendWord word{};
  std::thread announcing([&word] {
    for (std::uint32_t round = 0; round < kRounds; ++round) {
      word.Count([](std::uint32_t now) { return now; });
    }
  });
  int missing = 0;
  for (std::uint32_t round = 0; round < kRounds; ++round) {
    word.Set(kSendWanted);
    missing += (word.Load() & kSendWanted) == 0 ? 1 : 0;
    word.Clear(kSendWanted);
    missing += (word.Load() & kSendWanted) != 0 ? 1 : 0;
  }
  announcing.join();
  EXPECT_EQ(missing, 0);
  EXPECT_EQ(word.Load(), kRounds * (kAll + 1));
}

}  // namespace
}  // namespace datacollector
