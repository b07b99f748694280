// Reading the oldest unsent record and handing it over.

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "unit/store/LockHolder.h"
#include "unit/store/ReadTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;
using Calls = std::vector<std::string>;

TEST_P(ReadTest, HandsTheRecordOverAndSaysEachStep) {
  MakeRows(1);
  const Outcome outcome = ReadOne();
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(handOver_.calls, (Calls{"announce 1", "publish on " + Topic()}));
  ASSERT_EQ(handOver_.packets.size(), 1U);
  EXPECT_EQ(outcome.out,
            Traced("ReadRecords.cpp", function_,
                   Beginning(QueryOf(outcome.out)) + Opened() + ValueLines(handOver_.packets[0]) +
                       IndexLine() + word_ + "DBRecord number 1 publishing" + word_ +
                       "DBRecord number 1 published successfully" + (meter_ ? StampLines(true) : "")));
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log,
            meter_ ? "T: " + word_ + "DBRecord number 1 published successfully\n\n" + PublishedLog() : "");
}

TEST_P(ReadTest, AnEmptyTableIsNoRecord) {
  MakeTable(kind_);
  const Outcome outcome = ReadOne();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(handOver_.calls.empty());
  EXPECT_EQ(outcome.out,
            Traced("ReadRecords.cpp", function_,
                   Beginning(QueryOf(outcome.out)) + Opened() + IndexLine() + "There are no " + word_ +
                       "DBrecords which are need to be read and publish\n" + (meter_ ? kLogTrace : "")));
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log,
            meter_ ? "T: There are no " + word_ + "DBRecord which are need to be read and publish\n\n" : "");
}

TEST_P(ReadTest, ATableWhereAllIsSentIsNoRecord) {
  MakeRows(3);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1");
  EXPECT_EQ(ReadOne().result, 0);
  EXPECT_TRUE(handOver_.calls.empty());
}

TEST_P(ReadTest, TheOldestUnsentRowGoesEvenWhenItsNumberIsHigher) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 4);
  ASSERT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1 WHERE RecordNumber = 2");
  EXPECT_EQ(ReadOne().result, 3);
  EXPECT_EQ(handOver_.calls[0], "announce 3");
}

TEST_P(ReadTest, TheSameRecordIsReadAgainUntilItIsMarked) {
  MakeRows(2);
  EXPECT_EQ(ReadOne().result, 1);
  EXPECT_EQ(ReadOne().result, 1);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1 WHERE RecordNumber = 1");
  EXPECT_EQ(ReadOne().result, 2);
}

TEST_P(ReadTest, ARefusedPacketIsWithdrawnAndOnlyMeterKindsReportIt) {
  MakeRows(1);
  RecordingHandOver refusing(false);
  const Outcome outcome = ReadOne(refusing);
  EXPECT_EQ(outcome.result, meter_ ? -1 : 1);
  EXPECT_EQ(refusing.calls, (Calls{"announce 1", "publish on " + Topic(), "withdraw"}));
  EXPECT_EQ(outcome.out.find("published successfully") != std::string::npos, !meter_);
  EXPECT_EQ(outcome.log, meter_ ? PublishedLog() : "");
  EXPECT_EQ(outcome.err, "");
}

TEST_P(ReadTest, MeterKindsKeepTrackOfWhatTheyHandedOver) {
  MakeRows(1);
  auto& information = Params(kind_).HTTPSenderRecordInformation;
  RecordingHandOver refusing(false);
  ReadOne(refusing);
  EXPECT_EQ(information.i32_RecordNumber, meter_ ? 1 : 0);
  EXPECT_EQ(information.i32_LastRecordSentNumber, 0);
  ReadOne();
  EXPECT_EQ(information.i32_LastRecordSentNumber, meter_ ? 1 : 0);
  EXPECT_EQ(Main().PublishTimeStamps.published[kind_].empty(), !meter_);
}

TEST_P(ReadTest, NullValuesAreEmpty) {
  MakeRows(1);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET SiteID = NULL, SoftwareVer = NULL");
  EXPECT_EQ(ReadOne().result, 1);
  EXPECT_TRUE(handOver_.packets[0].starts_with("<,,")) << handOver_.packets[0];
}

TEST_P(ReadTest, APacketIsNeverCut) {
  MakeRows(1);
  const std::string longValue(3900, 'v');
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET SoftwareVer = '" + longValue + "'");
  EXPECT_EQ(ReadOne().result, 1);
  EXPECT_NE(handOver_.packets[0].find(",1,7," + longValue + ","), std::string::npos);
}

TEST_P(ReadTest, ARowOfMoreThanFiftyValuesIsNotPublished) {
  MakeRows(1);
  std::string many = "SoftwareVer";
  for (int column = 1; column < 45; ++column) {
    many += ",SiteID";
  }
  (meter_ ? Params(kind_).i8_InterfaceId : Params(kind_).i8_ValueColumns[0]).Assign(many);
  const Outcome outcome = ReadOne();
  EXPECT_EQ(outcome.result, -1);
  EXPECT_TRUE(handOver_.calls.empty());
  EXPECT_EQ(outcome.err,
            "An unsent " + word_ + " record does not fit into a packet of 50 values and is not published\n");
}

TEST_P(ReadTest, AQueryThatDoesNotFitIsReportedAndFails) {
  MakeRows(1);
  const std::string longName(500, 'c');
  DatabaseParams& params = Params(kind_);
  for (auto& column : params.i8_ValueColumns) {
    column.Assign(longName);
  }
  for (auto* column : {&params.i8_StartMarkColumn, &params.i8_EndMarkColumn, &params.i8_RequestIdColumn,
                       &params.i8_RecordType, &params.i8_RecordReadTimeColumn, &params.i8_InterfaceId,
                       &params.i8_MeterID, &params.i8_MeterModel, &params.i8_MeterType, &params.i8_CommIP,
                       &params.i8_SlaveID, &params.i8_ResponseCodeColumn}) {
    column->Assign(longName);
  }
  const Outcome outcome = ReadOne();
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.err,
            "The query for unsent " + word_ + " records is longer than 5000 characters and is not run\n");
  EXPECT_TRUE(handOver_.calls.empty());
}

TEST_P(ReadTest, ARecordWithoutANumberAtItsPlaceIsNotPublished) {
  MakeRows(1);
  for (const int place : {-1, 51, 60}) {
    SCOPED_TRACE(place);
    Params(kind_).i16_RIDClmnIndex = static_cast<std::int16_t>(place);
    Params(kind_).ui16_RecordNumberIndex = static_cast<std::uint16_t>(place);
    const Outcome outcome = ReadOne();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.err, "An unsent " + word_ +
                               " record has no record number at the configured place and is not published\n");
  }
  EXPECT_TRUE(handOver_.calls.empty());
}

// Its values arrive, whatever the configured place is worth.
TEST_P(ReadTest, APlaceBehindTheRowsValuesCountsAsNumberZero) {
  MakeRows(1);
  Params(kind_).i16_RIDClmnIndex = 49;
  Params(kind_).ui16_RecordNumberIndex = 50;
  EXPECT_EQ(ReadOne().result, 0);
  ASSERT_EQ(handOver_.calls.size(), 2U);
  EXPECT_EQ(handOver_.calls[0], "announce 0");
}

// Numbers above a lowered limit run on until they come round to 0. Such a row would block its kind for good
// if it were not sent.
TEST_P(ReadTest, ARecordNumberedZeroIsHandedOver) {
  MakeRows(1);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RecordNumber = 0");
  EXPECT_EQ(ReadOne().result, 0);
  ASSERT_EQ(handOver_.calls.size(), 2U);
  EXPECT_EQ(handOver_.calls[0], "announce 0");
}

// The record number stands fourth: the I/O kinds count from 1, the meter kinds from 0.
TEST_P(ReadTest, ThePlaceOfTheRecordNumberIsCountedByTheKindsOwnRule) {
  MakeRows(1);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RecordNumber = 33, RequestID = 44");
  Params(kind_).i16_RIDClmnIndex = 4;
  Params(kind_).ui16_RecordNumberIndex = 4;
  EXPECT_EQ(ReadOne().result, meter_ ? 44 : 33);
}

TEST_P(ReadTest, ADatabaseThatCantBeOpenedIsNoRecordForAioAndAFailureForAllOthers) {
  fs::remove_all("/vorl/disk/AppData/K740");
  const Outcome outcome = ReadOne();
  const std::string failure =
      "Can not connect database '" + Path(kind_) + "'\nError Message: unable to open database file\n";
  EXPECT_EQ(outcome.result, kind_ == AIO ? 0 : -1);
  EXPECT_EQ(outcome.err, failure);
  EXPECT_EQ(outcome.log, meter_ ? "T: " + failure + "\n" : "");
  std::string attempts;
  for (const char* attempt : {"0", "1", "2"}) {
    attempts += "Can not connect database '" + Path(kind_) + "', so retrying " + attempt + " time\n";
  }
  EXPECT_EQ(outcome.out, Traced("ReadRecords.cpp", function_,
                                Beginning(QueryOf(outcome.out)) + attempts + "<Create" + word_ + "DB>\n" +
                                    (meter_ ? kLogTrace : "") + "Exiting Context\n"));
}

TEST_P(ReadTest, AMissingTableFailsAfterTheAttempts) {
  MakeDatabaseWithoutTable(kind_);
  const Outcome outcome = ReadOne();
  const std::string failure = "can not read the record from table " + Table(kind_) +
                              "\nError Message:no such table: " + Table(kind_) + "\n";
  const std::string log = meter_ ? kLogTrace : "";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out,
            Traced("ReadRecords.cpp", function_,
                   Beginning(QueryOf(outcome.out)) + Opened() + failure + log +
                       "wait for interval of '0' seconds, then retry reading database again\n<Create" +
                       word_ + "DB>\n" + kClockLines + (meter_ ? SleepLines(0) : "<Wait>\n") + failure + log +
                       "Reading record which is not sent is failure\n" + log));
  EXPECT_EQ(outcome.err, "");
  const std::string line = "T: " + failure + "\n";
  EXPECT_EQ(outcome.log, meter_ ? line + line + "T: Reading record which is not sent is failure\n" : "");
}

TEST_P(ReadTest, OneAttemptHasNoWait) {
  MakeDatabaseWithoutTable(kind_);
  Params(kind_).ui16_MaxReadTry = 0;
  const Outcome outcome = ReadOne();
  EXPECT_EQ(CountOf("can not read the record from table", outcome.out), 1U);
  EXPECT_EQ(outcome.out.find("wait for interval"), std::string::npos);
}

TEST_P(ReadTest, ALockedDatabaseIsAFailureAndAPreparedCommitIsNot) {
  MakeRows(1);
  CloseConnection(kind_);
  {
    const LockHolder writer(Path(kind_), LockHolder::Lock::Exclusive);
    const Outcome outcome = ReadOne();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(CountOf("Error Message:database is locked\n", outcome.out), 2U);
  }
  const LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
  EXPECT_EQ(ReadOne().result, 1);
}

// A retry has read its record when the confirmation is written into the row.
class OvertakenHandOver : public RecordingHandOver {
 public:
  explicit OvertakenHandOver(std::function<void(std::int32_t)> meanwhile)
      : meanwhile_(std::move(meanwhile)) {}
  void Announce(std::int32_t recordNumber) override {
    RecordingHandOver::Announce(recordNumber);
    meanwhile_(recordNumber);
  }

 private:
  std::function<void(std::int32_t)> meanwhile_;
};

TEST_P(ReadTest, ARecordThatIsConfirmedBehindItsReadingGivesWayToTheNext) {
  MakeRows(2);
  OvertakenHandOver overtaken([&](std::int32_t number) {
    if (number == 1) {
      Confirm(1);
    }
  });
  const Outcome outcome = ReadOne(overtaken);
  EXPECT_EQ(outcome.result, 2);
  EXPECT_EQ(overtaken.calls, (Calls{"announce 1", "recall", "announce 2", "publish on " + Topic()}));
  ASSERT_EQ(overtaken.packets.size(), 1U);
  EXPECT_NE(overtaken.packets[0].find(",2,7,"), std::string::npos) << overtaken.packets[0];
  EXPECT_EQ(CountOf("DBRecord number 1 published successfully", outcome.out), 0U);
  EXPECT_EQ(CountOf("DBRecord number 2 published successfully", outcome.out), 1U);
}

TEST_P(ReadTest, TheLastRecordThatIsConfirmedBehindItsReadingLeavesNothingToSend) {
  MakeRows(1);
  OvertakenHandOver overtaken([&](std::int32_t /*number*/) { Confirm(1); });
  EXPECT_EQ(ReadOne(overtaken).result, 0);
  EXPECT_EQ(overtaken.calls, (Calls{"announce 1", "recall"}));
}

TEST_P(ReadTest, AConfirmationOfAnotherKindIsNoReasonToLookAgain) {
  MakeRows(1);
  const SourceKind other = kind_ == SNMP ? AIO : static_cast<SourceKind>(kind_ + 1);
  MakeTable(other);
  OvertakenHandOver overtaken([&](std::int32_t /*number*/) { Update(other); });
  EXPECT_EQ(ReadOne(overtaken).result, 1);
  EXPECT_EQ(overtaken.calls, (Calls{"announce 1", "publish on " + Topic()}));
}

// Of confirmations that fit no row, say.
TEST_P(ReadTest, AStormOfConfirmationsDoesNotHoldARecordUpForEver) {
  MakeRows(1);
  OvertakenHandOver overtaken([&](std::int32_t /*number*/) { Confirm(77); });
  EXPECT_EQ(ReadOne(overtaken).result, 1);
  EXPECT_EQ(overtaken.calls.size(), 16U);  // announced eight times, recalled in between, published
  EXPECT_EQ(overtaken.calls.back(), "publish on " + Topic());
}

// Names of the control file say where.
TEST_P(ReadTest, ReadsTheDatabaseOfTheControlFile) {
  MakeRows(1);
  Config(kind_).i8_DatabaseName.Assign("/nowhere/at/all.db");
  Config(kind_).i8_TableName.Assign("no_table");
  EXPECT_EQ(ReadOne().result, 1);
}

TEST_P(ReadTest, OnlyItsOwnKindsRowsAreLookedAt) {
  MakeRows(0);
  const SourceKind other = kind_ == SNMP ? AIO : static_cast<SourceKind>(kind_ + 1);
  MakeTable(other);
  Store(other, 1);
  EXPECT_EQ(ReadOne().result, 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ReadTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
