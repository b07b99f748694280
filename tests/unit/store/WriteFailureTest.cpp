// Storing records while something fails: texts, attempts, the record number, and what must not happen.

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "store/WriteRecord.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

class WriteFailureTest : public KindTest {
 protected:
  WriteFailureTest() : function_("Write" + word_ + "DCDBRecords"), meter_(IsMeterKind(kind_)) {
    Config(kind_).ui16_MaxDatabaseAccessRetry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
  }

  Outcome WriteOne() {
    return Observe([&] { return Write(kind_); }, {function_});
  }

  // Makes every statement of that sort on the kind's table fail.
  void Forbid(const std::string& sort) {
    Execute(Path(kind_), "CREATE TRIGGER forbid BEFORE " + sort + " ON " + Table(kind_) +
                             " BEGIN SELECT RAISE(ABORT, 'forbidden'); END");
  }
  void Permit() { Execute(Path(kind_), "DROP TRIGGER forbid"); }

  std::string LogIfMeter() const { return meter_ ? kLogTrace : ""; }
  std::string StampIfMeter() const { return meter_ ? "<GetTimeStamp>\n" : ""; }

  // What is printed from the entry to the count.
  std::string Beginning(int before, int number) {
    return StampIfMeter() + "Connection to database '" + Path(kind_) +
           "' is successfull\nLAST RECORD ID READ FROM TABLE " + std::to_string(before) + "\n" +
           LogIfMeter() + "INCREMENTED LAST RECORD ID READ FROM TABLE " + std::to_string(number) + "\n<Pack" +
           word_ + "DBColumnNames>\n<Pack" + word_ + "DBWriteRecord>\n";
  }

  std::string Limits(int number) {
    return kind_ != RS232 && kind_ != SNMP
               ? ""
               : "ui16_" + word_ + "MAXRecords = " + std::to_string(Config(kind_).ui16_MAXRecords) +
                     "\nui16_" + word_ + "DBRecordNumber = " + std::to_string(number) + "\n";
  }

  // Two failed attempts of one statement. Between them is a wait when its table is missing, which time may
  // heal, and not for what the record or the table brings with it.
  std::string TwoAttempts(const std::string& failure, bool missing = false) {
    std::string text =
        failure + LogIfMeter() + "retry after waiting for an interval of '0' seconds\n" + LogIfMeter();
    text += missing ? LogIfMeter() + "<Create" + word_ + "DB>\n" : "";
    text += kClockLines;
    text += !missing ? "" : meter_ ? SleepLines(0) : "<Wait>\n";
    return text + failure + LogIfMeter();
  }

  std::string End(int number) const {
    return "DECREMENTED RECORD NUMBER: " + std::to_string(number) + "\n" + Failure();
  }
  std::string Failure() const {
    return kLogTrace + std::string("Returning FAILURE from function '") + function_ + "'\n";
  }

  // The log lines of two failed attempts.
  static std::string TwoLogs(const std::string& failure, bool missing = false) {
    const std::string line = "T: " + failure + "\n";
    return line + "T: retry after waiting\n" + (missing ? "T: no such table\n" : "") + line;
  }
  static std::string LastNumberLog(int number) {
    return "T: LAST RECORD ID READ FROM TABLE " + std::to_string(number) + "\n\n";
  }

  const std::string function_;
  const bool meter_;
};

TEST_P(WriteFailureTest, ADatabaseThatCantBeOpenedLeavesTheNumberAlone) {
  fs::remove_all("/vorl/disk/AppData/K740");
  Number(kind_) = 9;
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, -1);
  std::string attempts;
  for (const char* attempt : {"0", "1", "2"}) {
    attempts +=
        "Can not connect database '" + Path(kind_) + "', so retrying " + attempt + " time\n" + LogIfMeter();
  }
  EXPECT_EQ(outcome.out, Traced("WriteRecord.cpp", function_,
                                StampIfMeter() + attempts + "<Create" + word_ + "DB>\n" + Failure()));
  EXPECT_EQ(outcome.err, "Can't Connect to database '" + Path(kind_) +
                             "'\nError message: unable to open database file\n" +
                             Lost("unable to open database file"));
  const std::string line = "T: Can not connect database energymeter " + word_ + "\n";
  EXPECT_EQ(outcome.log, (meter_ ? line + line + line : "") + "T: " + Lost("unable to open database file"));
  EXPECT_EQ(Number(kind_), 9);
}

TEST_P(WriteFailureTest, AMissingTableFailsAtTheCount) {
  MakeDatabaseWithoutTable(kind_);
  Number(kind_) = 4;
  const Outcome outcome = WriteOne();
  const std::string reason = "no such table: " + Table(kind_);
  const std::string failure =
      "can not get total number of records from table '" + Table(kind_) + "'\nError message:" + reason + "\n";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out, Traced("WriteRecord.cpp", function_,
                                Beginning(4, 5) + TwoAttempts(failure, true) +
                                    "can not get total number of records from table '" + Table(kind_) +
                                    "'\nError message: " + reason + "\n" + End(4)));
  EXPECT_EQ(outcome.err, Lost(reason));
  EXPECT_EQ(outcome.log,
            (meter_ ? LastNumberLog(4) + TwoLogs("can not get total number of records from RS485 table", true)
                    : "") +
                "T: " + Lost(reason));
  EXPECT_EQ(Number(kind_), 4);
}

TEST_P(WriteFailureTest, ADeletionThatFailsLeavesTheTableAtItsLimit) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 4);
  Forbid("DELETE");
  const Outcome outcome = WriteOne();
  const std::string failure =
      "can not delete a record from table " + Table(kind_) + "\nError message:forbidden\n";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out, Traced("WriteRecord.cpp", function_,
                                Beginning(1, 2) + "total records = 3\n" + Limits(2) + TwoAttempts(failure) +
                                    LogIfMeter() + End(1)));
  EXPECT_EQ(outcome.err, "Unable to delete a row from table '" + Table(kind_) +
                             "'\nError message:forbidden\n" + Lost("forbidden"));
  EXPECT_EQ(outcome.log, (meter_ ? LastNumberLog(1) + TwoLogs("can not delete a record from table") +
                                       "T: Unable to delete a row from " + word_ + " table\n"
                                 : "") +
                             "T: " + Lost("forbidden"));
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
  EXPECT_EQ(Number(kind_), 1);
}

TEST_P(WriteFailureTest, AnInsertionThatFailsStepsTheNumberBack) {
  MakeTable(kind_);
  Store(kind_, 2);
  Forbid("INSERT");
  const Outcome outcome = WriteOne();
  const std::string failure =
      "can't insert record into table " + Table(kind_) + "\nError message:forbidden\n";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out,
            Traced("WriteRecord.cpp", function_,
                   Beginning(2, 3) + "total records = 2\n" + Limits(3) +
                       "Record Number to be inserted = 3\n" + TwoAttempts(failure) + StampIfMeter() +
                       "Fail to insert record with ID-3 :Error message: forbidden\n" + End(2)));
  EXPECT_EQ(outcome.err, Lost("forbidden"));
  EXPECT_EQ(outcome.log, (meter_ ? LastNumberLog(2) + TwoLogs("can't insert record into table\n") : "") +
                             "T: " + Lost("forbidden"));
  EXPECT_EQ(Number(kind_), 2);
}

TEST_P(WriteFailureTest, AnInsertionThatFailsInAFullTableKeepsTheOldRow) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 4);
  Forbid("INSERT");
  EXPECT_EQ(WriteOne().result, -1);
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
  Permit();
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{3, 1, 2}));
}

TEST_P(WriteFailureTest, AfterAWrapTheNumberBecomes0AndTheNextRecordIs1Again) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 3);
  Forbid("INSERT");
  EXPECT_EQ(WriteOne().result, -1);
  EXPECT_EQ(Number(kind_), 0);
  Permit();
  Store(kind_, 1);
  EXPECT_EQ(Number(kind_), 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
}

TEST_P(WriteFailureTest, WithoutRetriesThereIsOneAttemptAndNoWait) {
  MakeTable(kind_);
  Forbid("INSERT");
  for (const std::uint16_t attempts : {std::uint16_t{0}, std::uint16_t{1}}) {
    Config(kind_).ui16_MaxDatabaseAccessRetry = attempts;
    const Outcome outcome = WriteOne();
    EXPECT_EQ(CountOf("can't insert record into table", outcome.out), 1U);
    EXPECT_EQ(outcome.out.find("retry after waiting"), std::string::npos);
  }
}

TEST_P(WriteFailureTest, WaitsInTheKindsUnit) {
  MakeTable(kind_);
  Config(kind_).i32_DatabaseAccessWaitInterval = meter_ ? 20 : 1;
  const LockHolder writer(Path(kind_), LockHolder::Lock::Reserved);
  const auto start = std::chrono::steady_clock::now();
  const Outcome outcome = WriteOne();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(meter_ ? 20 : 1000));
  EXPECT_NE(outcome.out.find(meter_ ? SleepLines(20) : "<Wait>\n"), std::string::npos);
}

TEST_P(WriteFailureTest, ARecordThatIsNoListOfLiteralsFailsLikeAStatement) {
  MakeTable(kind_);
  Store(kind_, 1);
  Execute(Path(kind_), "CREATE TABLE secret (word TEXT); INSERT INTO secret VALUES ('xyzzy')");
  const std::string end = R"(,"t",0,"0",">")";
  const std::vector<std::string> refused = {"",
                                            "hex(7777)" + end,
                                            "(SELECT word FROM secret)" + end,
                                            "1 + 1" + end,
                                            "1); DELETE FROM " + Table(kind_) + "; --",
                                            "1); DROP TABLE secret; --",
                                            "\"open",
                                            "1,2,"};
  for (const std::string& data : refused) {
    SCOPED_TRACE(data);
    Receive(kind_, data);
    const Outcome outcome = WriteOne();
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.out.find(TwoAttempts("can't insert record into table " + Table(kind_) +
                                           "\nError message:record data is not a list of SQL literals\n")),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(Number(kind_), 1);
    EXPECT_EQ(Numbers(kind_), std::vector{1});
  }
  EXPECT_EQ(Query(Path(kind_), "SELECT word FROM secret"), (Rows{{"xyzzy"}}));
}

TEST_P(WriteFailureTest, ARefusedRecordTakesNoRowFromAFullTable) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 2;
  Store(kind_, 2);
  Receive(kind_, "hex(7777)");
  EXPECT_EQ(WriteOne().result, -1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2}));
  EXPECT_EQ(Number(kind_), 0);
}

TEST_P(WriteFailureTest, ARecordWithTooManyValuesIsRefusedBySqlite) {
  MakeTable(kind_);
  Receive(kind_, ExampleData(kind_) + ",1");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, -1);
  EXPECT_NE(outcome.out.find("values for"), std::string::npos) << outcome.out;
  EXPECT_TRUE(Numbers(kind_).empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, WriteFailureTest, ::testing::ValuesIn(kAllKinds), KindName);

class IdentityTest : public StoreTest {};

// Each identity is a legal value by itself and becomes an expression between the double quotes of its field.
TEST_F(IdentityTest, AnIdentityFromThePayloadCantBecomeAnExpression) {
  MakeTable(RS232);
  MakeTable(SNMP);
  Config(RS232).ui16_MaxDatabaseAccessRetry = Config(SNMP).ui16_MaxDatabaseAccessRetry = 1;
  const char* identity = R"("||hex(7777)||")";
  const auto Refused = [&](const std::function<int()>& write) {
    const Outcome outcome = Observe(write, {"WriteRS232DCDBRecords", "WriteSNMPDCDBRecords"});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_NE(outcome.out.find("record data is not a list of SQL literals"), std::string::npos);
  };
  Refused([&] { return WriteRS232DCDBRecords(Main(), RS232Line1, 0, 7, identity, "GW0001"); });
  Refused([&] { return WriteRS232DCDBRecords(Main(), RS232Line1, 0, 7, "SITE01", identity); });
  Refused([&] { return WriteSNMPDCDBRecords(Main(), SNMPLine1, 1, 7, identity, "GW0001"); });
  Refused([&] { return WriteSNMPDCDBRecords(Main(), SNMPLine1, 1, 7, "SITE01", identity); });
  EXPECT_TRUE(Numbers(RS232).empty());
  EXPECT_TRUE(Numbers(SNMP).empty());
}

}  // namespace
}  // namespace datacollector
