#include <gtest/gtest.h>

#include <thread>

#include "ground/Flags.h"

namespace datacollector {
namespace {

TEST(ReleaseTime, IsSecondsAndNanosecondsAsADouble) {
  ReleaseTime time;
  time.Set(12, 345678901);
  EXPECT_EQ(time.Seconds(), 12 + 345678901 / 1000000000.0);
}

TEST(ReleaseTime, HoldsMoreThan32BitsOfSeconds) {
  ReleaseTime time;
  time.Set((std::int64_t{3} << 32U) + 5, 0);
  EXPECT_EQ(time.Seconds(), 3.0 * 4294967296.0 + 5);
}

TEST(ReleaseTime, IsZeroAtStartAndAfterAReset) {
  ReleaseTime time{};
  EXPECT_EQ(time.Seconds(), 0.0);
  time.Set(7, 8);
  time.Set(0, 0);
  EXPECT_EQ(time.Seconds(), 0.0);
}

// The senders compare two readings exactly: a mixture of two times would lose or invent a confirmation.
TEST(ReleaseTime, AReaderNeverSeesAMixtureOfTwoTimes) {
  ReleaseTime time;
  const auto setEven = [&time] { time.Set((std::int64_t{1} << 32U) + 10, 250000000); };
  const auto setOdd = [&time] { time.Set(7, 750000000); };
  setEven();
  std::atomic<bool> writing = true;
  std::thread writer([&] {
    for (int round = 0; round < 200000; ++round) {
      setOdd();
      setEven();
    }
    writing = false;
  });
  bool mixed = false;
  while (writing) {
    const double seen = time.Seconds();
    mixed = mixed || (seen != 4294967306.25 && seen != 7.75);
  }
  writer.join();
  EXPECT_FALSE(mixed);
  EXPECT_EQ(time.Seconds(), 4294967306.25);
}

TEST(Flags, TheTablesAreAsLargeAsTheirKindsMetersAndLines) {
  EXPECT_EQ(kKinds[RS485].meters, 100U);
  EXPECT_EQ(kKinds[RS485].lines, 10U);
  EXPECT_EQ(kKinds[RS232].meters, 10U);
  EXPECT_EQ(kKinds[RS232].lines, 1U);
  EXPECT_EQ(kKinds[SNMP].meters, 10U);
  EXPECT_EQ(kKinds[SNMP].lines, 1U);
}

TEST(Flags, AMetersEntryIsThatOfItsKindsTable) {
  EXPECT_EQ(&RecordFlags.At(RS485, 99, 9), &RecordFlags.At(RS485, 99, 9));
  EXPECT_EQ(&RecordFlags.At(RS232, 9, 0), &RecordFlags.At(RS232, 9, 0));
  EXPECT_EQ(&RecordFlags.At(SNMP, 9, 0), &RecordFlags.At(SNMP, 9, 0));
}

void Raise(PeriodicWindow& window) {
  window.gui8_WriteRecordsDue = 1;
  window.gui8_WriteRecordsRequested = 1;
  window.gui8_WriteRecordsAfterPeriodicMinute = 1;
  window.gui8_WriteRecordsWithinPeriodicMinute = 1;
  window.gui8_PeriodicRecordsWritten = 1;
}

void ExpectZero(const PeriodicWindow& window) {
  EXPECT_EQ(window.gui8_WriteRecordsDue, 0);
  EXPECT_EQ(window.gui8_WriteRecordsRequested, 0);
  EXPECT_EQ(window.gui8_WriteRecordsAfterPeriodicMinute, 0);
  EXPECT_EQ(window.gui8_WriteRecordsWithinPeriodicMinute, 0);
  EXPECT_EQ(window.gui8_PeriodicRecordsWritten, 0);
}

TEST(ZeroFlags, ClearsTheWindowsOfEverySourceToTheLastMeter) {
  for (PeriodicWindow* window : {&DBWriteFlags.At(TEMPERATURE), &DBWriteFlags.At(RS485, 99, 9),
                                 &DBWriteFlags.At(RS232, 9, 0), &DBWriteFlags.At(SNMP, 9, 0)}) {
    Raise(*window);
  }
  ZeroFlags();
  for (const PeriodicWindow* window : {&DBWriteFlags.At(TEMPERATURE), &DBWriteFlags.At(RS485, 99, 9),
                                       &DBWriteFlags.At(RS232, 9, 0), &DBWriteFlags.At(SNMP, 9, 0)}) {
    ExpectZero(*window);
  }
}

TEST(ZeroFlags, ClearsRecordFlagsAndRequests) {
  RecordFlags.At(DIO) = 1;
  RecordFlags.At(RS485, 99, 9) = 1;
  DataRequest& request = AppDataReqFlags.At(RS485, 99, 9);
  request.gui8_AppDataReqPublished = 1;
  request.gui8_AppDataReqPending = 1;
  request.gi32_ReqId = 77;
  ZeroFlags();
  EXPECT_EQ(RecordFlags.At(DIO), 0);
  EXPECT_EQ(RecordFlags.At(RS485, 99, 9), 0);
  EXPECT_EQ(request.gui8_AppDataReqPublished, 0);
  EXPECT_EQ(request.gui8_AppDataReqPending, 0);
  EXPECT_EQ(request.gi32_ReqId, 0);
}

TEST(ZeroFlags, ClearsTheSendFlagsOfEveryKind) {
  for (KindSendFlags& flags : CloudConnectSendFlags) {
    flags.gui8_SendDCDBRecordRetryFlags = 1;
    flags.gui8_NoDCDBRecordsToPublish = 1;
    flags.gui8_FirstDCDBRecordSent = 1;
    flags.gui8_SendDCDBRecordFlags = 1;
    flags.gui8_SendUnsentDCDBRecord = 1;
    flags.gui8_SendFirstCDBRecord = 1;
    flags.gui32_LastDCDBRecordSentTime = 4000000000;
    flags.gi32_LastSentDCDBRecordNum = 9;
    flags.gf64_SendDCDBRecordFlagSetTime.Set(1, 2);
  }
  ZeroFlags();
  for (const KindSendFlags& flags : CloudConnectSendFlags) {
    EXPECT_EQ(flags.gui8_SendDCDBRecordRetryFlags, 0);
    EXPECT_EQ(flags.gui8_NoDCDBRecordsToPublish, 0);
    EXPECT_EQ(flags.gui8_FirstDCDBRecordSent, 0);
    EXPECT_EQ(flags.gui8_SendDCDBRecordFlags, 0);
    EXPECT_EQ(flags.gui8_SendUnsentDCDBRecord, 0);
    EXPECT_EQ(flags.gui8_SendFirstCDBRecord, 0);
    EXPECT_EQ(flags.gui32_LastDCDBRecordSentTime, 0U);
    EXPECT_EQ(flags.gi32_LastSentDCDBRecordNum, 0);
    EXPECT_EQ(flags.gf64_SendDCDBRecordFlagSetTime.Seconds(), 0.0);
  }
}

TEST(ZeroFlags, ClosesTheGateTakesTheWanDownAndForgetsCounts) {
  gi32_HTTPThreadSendFlag = 1;
  gui8_WanStatus = 1;
  SrcFlags = {1, 2, 3, 4};
  ZeroFlags();
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
  EXPECT_EQ(gui8_WanStatus, 0);
  EXPECT_EQ(SrcFlags.gi32_TotalNumEnSrces, 0);
  EXPECT_EQ(SrcFlags.gi32_TotalNumRS485EnSrces, 0);
  EXPECT_EQ(SrcFlags.gi32_TotalNumRS232EnSrces, 0);
  EXPECT_EQ(SrcFlags.gi32_TotalNumSNMPEnSrces, 0);
}

}  // namespace
}  // namespace datacollector
