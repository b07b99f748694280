// Writing the outcome of a delivery into the delivered row.

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>

#include "store/UpdateRecord.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

class UpdateTest : public KindTest {
 protected:
  UpdateTest() : function_("Update" + word_ + "DBRecord"), meter_(IsMeterKind(kind_)) {
    Params(kind_).ui16_MaxReadTry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
    DatabaseUpdate& update = Confirmation();
    update.i8_RecordReadTimeStamp.Assign(kReadTime);
    update.i32_RecordNum = 2;
    update.i32_TxStatus = 1;
    update.i8_TxTimeStamp.Assign("2026-11-20 10:00:09");
  }

  DatabaseUpdate& Confirmation() { return Main().DataCollectorDBUpdate[kind_]; }

  // Three rows with a known read time.
  void MakeRows() {
    MakeTable(kind_);
    Store(kind_, 3);
    Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RecordReadTime = '" + kReadTime + "'");
  }

  Outcome UpdateOne() {
    return Observe([&] { return Update(kind_); }, {function_});
  }
  Rows Statuses() { return Select(kind_, "RecordNumber, TxStatus, TxStatusTime", "ORDER BY rowid"); }
  const Rows untouched_ = {{"1", "0", "0"}, {"2", "0", "0"}, {"3", "0", "0"}};

  // A wait is between them where time may heal.
  std::string TwoAttempts(const std::string& reason, bool waits = true) {
    const std::string failure = "can't update record from table " + Table(kind_) +
                                "\nError message:" + reason + "\n" + (meter_ ? kLogTrace : "");
    const std::string wait = meter_ ? SleepLines(0) : "<Wait>\n";
    return failure + "wait for interval of '0' seconds, then retry\n" + kClockLines + (waits ? wait : "") +
           failure;
  }
  std::string TwoLogs(const std::string& reason) {
    const std::string line =
        "T: can't update record from table " + Table(kind_) + "\nError message:" + reason + "\n\n";
    return meter_ ? line + line : "";
  }

  const std::string function_;
  const bool meter_;
};

TEST_P(UpdateTest, StoresStatusAndTimeInTheReportedRow) {
  MakeRows();
  const Outcome outcome = UpdateOne();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, Traced("UpdateRecord.cpp", function_,
                                "status to be updated->1<-\nUpdating Record 2 to table " + Table(kind_) +
                                    " is successfull\n"));
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_EQ(Statuses(), (Rows{{"1", "0", "0"}, {"2", "1", "2026-11-20 10:00:09"}, {"3", "0", "0"}}));
}

TEST_P(UpdateTest, ARowThatWasReplacedSinceIsNotTouchedAndThatIsSuccess) {
  MakeRows();
  Confirmation().i8_RecordReadTimeStamp.Assign("2026-11-20 09:59:59");
  EXPECT_EQ(UpdateOne().result, 0);
  EXPECT_EQ(Statuses(), untouched_);
}

// The read time of a confirmation is looked for in the column that the write time key names.
TEST_P(UpdateTest, TheRowIsFoundByTheWriteTimeColumn) {
  MakeTable(kind_);
  Store(kind_, 3);
  Params(kind_).i8_RecordWriteTimeColumn.Assign("SourceTime");
  Params(kind_).i8_RecordReadTimeColumn.Assign("no_such_column");
  Confirmation().i8_RecordReadTimeStamp.Assign("2026-11-20 10:00:00");
  EXPECT_EQ(UpdateOne().result, 0);
  EXPECT_EQ(Select(kind_, "TxStatus", "ORDER BY rowid"), (Rows{{"0"}, {"1"}, {"0"}}));
}

TEST_P(UpdateTest, TheRowIsFoundByTheRecordIdColumnOfTheColumnFile) {
  MakeRows();
  Params(kind_).i8_RecordIDColumn.Assign("RequestID");
  Config(kind_).i8_RecordNumber.Assign("no_such_column");
  Confirmation().i32_RecordNum = 7;  // the request of every row
  EXPECT_EQ(UpdateOne().result, 0);
  EXPECT_EQ(Select(kind_, "TxStatus"), (Rows{{"1"}, {"1"}, {"1"}}));
}

TEST_P(UpdateTest, ANumberThatNoRowHasIsSuccess) {
  MakeRows();
  Confirmation().i32_RecordNum = 77;
  EXPECT_EQ(UpdateOne().result, 0);
  EXPECT_EQ(Statuses(), untouched_);
}

TEST_P(UpdateTest, NegativeNumbersAreStoredAsReported) {
  MakeRows();
  Confirmation().i32_TxStatus = -5;
  const Outcome outcome = UpdateOne();
  EXPECT_NE(outcome.out.find("status to be updated->-5<-\n"), std::string::npos);
  EXPECT_EQ(Statuses()[1][1], "-5");
}

TEST_P(UpdateTest, ASingleQuoteFailsTheUpdateAfterItsAttempts) {
  MakeRows();
  const std::string reason = "status or time stamp with a single quote";
  for (const bool inTime : {true, false}) {
    Confirmation().i8_TxTimeStamp.Assign(inTime ? "' WHERE 1=1;--" : "2026-11-20 10:00:09");
    Confirmation().i8_RecordReadTimeStamp.Assign(inTime ? kReadTime : "' or 1=1;--");
    const Outcome outcome = UpdateOne();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.out, Traced("UpdateRecord.cpp", function_,
                                  "status to be updated->1<-\n" + TwoAttempts(reason, false)));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.log, TwoLogs(reason));
    EXPECT_EQ(Statuses(), untouched_);
  }
}

TEST_P(UpdateTest, OneAttemptHasNoWait) {
  MakeRows();
  Confirmation().i8_TxTimeStamp.Assign("'");
  for (const std::uint16_t attempts : {std::uint16_t{0}, std::uint16_t{1}}) {
    Params(kind_).ui16_MaxReadTry = attempts;
    const Outcome outcome = UpdateOne();
    EXPECT_EQ(CountOf("can't update record", outcome.out), 1U);
    EXPECT_EQ(outcome.out.find("wait for interval"), std::string::npos);
  }
}

TEST_P(UpdateTest, AMissingTableGetsNoSpecialTreatment) {
  MakeDatabaseWithoutTable(kind_);
  const Outcome outcome = UpdateOne();
  const std::string reason = "no such table: " + Table(kind_);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out,
            Traced("UpdateRecord.cpp", function_, "status to be updated->1<-\n" + TwoAttempts(reason)));
  EXPECT_EQ(outcome.log, TwoLogs(reason));
}

TEST_P(UpdateTest, ADatabaseThatCantBeOpenedIsNotCreated) {
  fs::remove_all("/vorl/disk/AppData/K740/DataCollector");
  const Outcome outcome = UpdateOne();
  const std::string failure =
      "Can't Connect database '" + Path(kind_) + "'\nError message: unable to open database file\n";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out, Traced("UpdateRecord.cpp", function_,
                                "status to be updated->1<-\n" + std::string(meter_ ? kLogTrace : "") +
                                    "Exiting Context\n"));
  EXPECT_EQ(outcome.err, failure);
  EXPECT_EQ(outcome.log, meter_ ? "T: " + failure + "\n" : "");
  EXPECT_FALSE(fs::exists(kDatabaseDirectory));
}

TEST_P(UpdateTest, ALockedDatabaseFailsTheAttempts) {
  MakeRows();
  Outcome outcome;
  {
    const LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
    outcome = UpdateOne();
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out, Traced("UpdateRecord.cpp", function_,
                                "status to be updated->1<-\n" + TwoAttempts("database is locked")));
  EXPECT_EQ(Statuses(), untouched_);
}

TEST_P(UpdateTest, AShortLockCostsNoAttempt) {
  MakeRows();
  Outcome outcome;
  {
    LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
    writer.ReleaseAtTheFirstPause();
    outcome = UpdateOne();
  }
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out.find("can't update"), std::string::npos);
}

TEST_P(UpdateTest, WaitsInTheKindsUnit) {
  MakeRows();
  const LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
  Config(kind_).i32_DatabaseAccessWaitInterval = meter_ ? 20 : 1;
  const auto start = std::chrono::steady_clock::now();
  const Outcome outcome = UpdateOne();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(meter_ ? 20 : 1000));
  EXPECT_NE(outcome.out.find(meter_ ? SleepLines(20) : "<Wait>\n"), std::string::npos);
}

// Names of the column file say where, names of the control file say which columns.
TEST_P(UpdateTest, WritesToTheDatabaseOfTheColumnFile) {
  MakeRows();
  Params(kind_).i8_DatabaseName.Assign("/nowhere/at/all.db");
  Params(kind_).i8_TableName.Assign("no_table");
  EXPECT_EQ(UpdateOne().result, 0);
  EXPECT_EQ(Statuses()[1][1], "1");
}

INSTANTIATE_TEST_SUITE_P(Kinds, UpdateTest, ::testing::ValuesIn(kAllKinds), KindName);

TEST(CurrentTimeStampTest, WritesTheLocalTime) {
  TimeStampText stamp{};
  stamp.Assign("something longer here");
  const Outcome outcome = Observe([&] { return GetCurrentTimeStamp(stamp); }, {"GetCurrentTimeStamp"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(
      std::regex_match(stamp.c_str(), std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}")));
  EXPECT_EQ(outcome.out,
            Traced("UpdateRecord.cpp", "GetCurrentTimeStamp",
                   std::string("Success: Current System TimeStamp for DB update = ") + stamp.c_str() + "\n"));
}

}  // namespace
}  // namespace datacollector
