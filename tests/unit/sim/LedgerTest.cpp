#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Kinds.h"
#include "Ledger.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

constexpr unsigned long kRun = 1763632800;
const std::vector<SourceKind> kAioOnly = {AIO};

Packet OwnPacket(unsigned long number, unsigned long recordNumber) {
  Packet packet;
  packet.readTime = "2026-11-20 10:00:00";
  packet.recordNumberText = std::to_string(recordNumber);
  packet.recordNumber = recordNumber;
  packet.number = number;
  packet.ours = true;
  return packet;
}

void PublishRecords(Ledger& ledger, SourceKind kind, int count) {
  for (int i = 0; i < count; ++i) {
    ledger.Offer(kind);
    ledger.Published(kind);
  }
}

TEST(Ledger, NumbersTheRecordsOfEachKindFromOne) {
  Ledger ledger(false);
  EXPECT_EQ(ledger.Offer(AIO), 1U);
  EXPECT_EQ(ledger.Offer(AIO), 2U);
  EXPECT_EQ(ledger.Offer(SNMP), 1U);
}

TEST(Ledger, AConfirmedRecordNoLongerWaits) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 2);
  ledger.HandedOver(AIO, OwnPacket(1, 101));
  ledger.Confirmed(AIO, OwnPacket(1, 101));
  EXPECT_EQ(ledger.Counts(AIO).handedOver, 1U);
  EXPECT_EQ(ledger.Counts(AIO).confirmed, 1U);
  EXPECT_EQ(ledger.Counts(AIO).Waiting(), 1U);
  EXPECT_FALSE(ledger.AllConfirmed(kAioOnly));
}

TEST(Ledger, ARetryOfTheSameRowCountsAsAgainAndConfirmsOnce) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 1);
  for (int i = 0; i < 3; ++i) {
    ledger.HandedOver(AIO, OwnPacket(1, 101));
    ledger.Confirmed(AIO, OwnPacket(1, 101));
  }
  EXPECT_EQ(ledger.Counts(AIO).handedOver, 1U);
  EXPECT_EQ(ledger.Counts(AIO).confirmed, 1U);
  EXPECT_EQ(ledger.Counts(AIO).again, 2U);
  EXPECT_EQ(ledger.Counts(AIO).duplicates, 0U);
  EXPECT_TRUE(ledger.AllConfirmed(kAioOnly));
}

TEST(Ledger, TheSameRecordFromAnotherRowIsADuplicate) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 1);
  ledger.HandedOver(AIO, OwnPacket(1, 101));
  ledger.HandedOver(AIO, OwnPacket(1, 102));
  EXPECT_EQ(ledger.Counts(AIO).duplicates, 1U);
  EXPECT_EQ(ledger.Counts(AIO).again, 0U);
}

TEST(Ledger, ARecordThatComesAfterAYoungerOneIsOutOfOrder) {
  Ledger ledger(false);
  PublishRecords(ledger, RS485, 3);
  ledger.HandedOver(RS485, OwnPacket(1, 1));
  ledger.HandedOver(RS485, OwnPacket(3, 3));
  EXPECT_EQ(ledger.Lost(RS485), 1U);
  ledger.HandedOver(RS485, OwnPacket(2, 2));
  EXPECT_EQ(ledger.Counts(RS485).outOfOrder, 1U);
  EXPECT_EQ(ledger.Lost(RS485), 0U);
}

TEST(Ledger, PacketsOfOtherRunsAndUnknownNumbersAreForeign) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 1);
  Packet other = OwnPacket(1, 7);
  other.ours = false;
  ledger.HandedOver(AIO, other);
  ledger.HandedOver(AIO, OwnPacket(2, 8));
  ledger.HandedOver(AIO, OwnPacket(0, 9));
  EXPECT_EQ(ledger.Counts(AIO).foreign, 3U);
  EXPECT_EQ(ledger.Counts(AIO).handedOver, 0U);
}

TEST(Ledger, WithATraceOnlyTheDaemonsWordConfirms) {
  Ledger ledger(true);
  PublishRecords(ledger, DIO, 1);
  ledger.HandedOver(DIO, OwnPacket(1, 55));
  ledger.Confirmed(DIO, OwnPacket(1, 55));
  EXPECT_EQ(ledger.Counts(DIO).confirmed, 0U);
  ledger.Applied(DIO, 54);
  EXPECT_EQ(ledger.Counts(DIO).confirmed, 0U);
  ledger.Applied(DIO, 55);
  ledger.Applied(DIO, 55);
  EXPECT_EQ(ledger.Counts(DIO).confirmed, 1U);
}

TEST(Ledger, ARecordNumberThatTheTableUsesAgainMeansItsNewRecord) {
  Ledger ledger(true);
  PublishRecords(ledger, DIO, 2);
  ledger.HandedOver(DIO, OwnPacket(1, 1));
  ledger.Applied(DIO, 1);
  ledger.HandedOver(DIO, OwnPacket(2, 1));
  ledger.Applied(DIO, 1);
  EXPECT_EQ(ledger.Counts(DIO).confirmed, 2U);
}

TEST(Ledger, WithATraceWhatIsNotStoredIsLost) {
  Ledger ledger(true);
  PublishRecords(ledger, AIO, 3);
  ledger.Stored(AIO);
  ledger.Stored(AIO);
  EXPECT_EQ(ledger.Lost(AIO), 1U);
  EXPECT_FALSE(ledger.AllArrived(kAioOnly));
  EXPECT_FALSE(ledger.AllStored(kAioOnly));
  ledger.Stored(AIO);
  EXPECT_EQ(ledger.Lost(AIO), 0U);
  EXPECT_TRUE(ledger.AllArrived(kAioOnly));
  EXPECT_TRUE(ledger.AllStored(kAioOnly));
}

TEST(Ledger, WithoutATraceWhatStillWaitsIsNotLost) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 3);
  ledger.HandedOver(AIO, OwnPacket(1, 1));
  EXPECT_EQ(ledger.Lost(AIO), 0U);
}

TEST(Ledger, ARecordThatTheBrokerHasNotTakenYetHasNotArrived) {
  Ledger ledger(false);
  ledger.Offer(AIO);
  EXPECT_FALSE(ledger.AllArrived(kAioOnly));
  ledger.Published(AIO);
  EXPECT_TRUE(ledger.AllArrived(kAioOnly));
}

TEST(Ledger, TotalsAddUpTheChosenKinds) {
  Ledger ledger(false);
  PublishRecords(ledger, AIO, 2);
  PublishRecords(ledger, SNMP, 3);
  EXPECT_EQ(ledger.Total({AIO, SNMP}).published, 5U);
  EXPECT_EQ(ledger.Total({SNMP}).published, 3U);
}

TEST(Packet, IsMatchedByRunAndRunningNumber) {
  Packet packet;
  ASSERT_TRUE(
      ParsePacket(ProfileOf(AIO), "<,SITE01,2026-11-20 10:00:00,12,7,1.0.0,34,1763632800,1,>", kRun, packet));
  EXPECT_TRUE(packet.ours);
  EXPECT_EQ(packet.number, 34U);
  EXPECT_EQ(packet.recordNumber, 12U);
  EXPECT_EQ(packet.recordNumberText, "12");
  EXPECT_EQ(packet.readTime, "2026-11-20 10:00:00");
}

TEST(Packet, OfAMeterHasItsNumberInTheFirstRegister) {
  Packet packet;
  ASSERT_TRUE(ParsePacket(ProfileOf(RS485),
                          "<,S,t,5,7,1.0.0,1,2,1,m,p,17,ip,0,40001,3,34,1763632800,231.0,1,>", kRun, packet));
  EXPECT_EQ(packet.number, 34U);
  ASSERT_TRUE(ParsePacket(ProfileOf(RS232), "<,S,t,5,7,1.0.0,1,2,m,p,5,0,40001,3,3,35,1763632800,1.19,>",
                          kRun, packet));
  EXPECT_EQ(packet.number, 35U);
}

TEST(Packet, OfSnmpHasItsNumberInTheData) {
  Packet packet;
  ASSERT_TRUE(ParsePacket(ProfileOf(SNMP),
                          "<,S,t,5,7,1.0.0,1,1,ups-1,UPS,ip,161,0,1,[,number=36;run=1763632800;load=41,>",
                          kRun, packet));
  EXPECT_TRUE(packet.ours);
  EXPECT_EQ(packet.number, 36U);
}

TEST(Packet, OfAnotherRunOrShapeIsConfirmableButNotOurs) {
  Packet packet;
  ASSERT_TRUE(ParsePacket(ProfileOf(AIO), "<,S,t,12,7,1.0.0,34,99,1,>", kRun, packet));
  EXPECT_FALSE(packet.ours);
  ASSERT_TRUE(ParsePacket(ProfileOf(AIO), "<,S,t,12,7,>", kRun, packet));
  EXPECT_FALSE(packet.ours);
  EXPECT_EQ(packet.recordNumberText, "12");
}

TEST(Packet, WithoutARecordNumberCannotBeConfirmed) {
  Packet packet;
  EXPECT_FALSE(ParsePacket(ProfileOf(AIO), "<,S,t", kRun, packet));
  EXPECT_FALSE(ParsePacket(ProfileOf(AIO), "", kRun, packet));
}

}  // namespace
}  // namespace datacollector::sim
