// Storing records: the numbers of the ring, the rows, and what the writers say while all goes well.

#include <filesystem>
#include <string>
#include <vector>

#include "store/WriteRecord.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class WriteRecordTest : public KindTest {
 protected:
  WriteRecordTest() : function_("Write" + word_ + "DCDBRecords") {}

  Outcome WriteOne() {
    return Observe([&] { return Write(kind_); }, {function_});
  }

  // What the kind prints around a record; `steps` is what follows the count.
  std::string Success(int before, int number, int total, const std::string& deletion = "") {
    const std::string stamp = IsMeterKind(kind_) ? "<GetTimeStamp>\n" : "";
    return Traced("WriteRecord.cpp", function_,
                  stamp + "Connection to database '" + Path(kind_) +
                      "' is successfull\nLAST RECORD ID READ FROM TABLE " + std::to_string(before) + "\n" +
                      (IsMeterKind(kind_) ? kLogTrace : "") + "INCREMENTED LAST RECORD ID READ FROM TABLE " +
                      std::to_string(number) + "\n<Pack" + word_ + "DBColumnNames>\n<Pack" + word_ +
                      "DBWriteRecord>\ntotal records = " + std::to_string(total) + "\n" + Limits(number) +
                      deletion + "Record Number to be inserted = " + std::to_string(number) + "\n" + stamp +
                      "Records Stored in table '" + Table(kind_) + "' successfully\nRecord - " +
                      std::to_string(number) + " inserted successfully\nReturning SUCCESS from function '" +
                      function_ + "'\n");
  }

  // Only RS-232 and SNMP show the limit and the number before the full-table test.
  std::string Limits(int number) {
    if (kind_ != RS232 && kind_ != SNMP) {
      return "";
    }
    return "ui16_" + word_ + "MAXRecords = " + std::to_string(Config(kind_).ui16_MAXRecords) + "\nui16_" +
           word_ + "DBRecordNumber = " + std::to_string(number) + "\n";
  }

  const std::string function_;
};

TEST_P(WriteRecordTest, StoresARecordAndSaysEachStep) {
  MakeTable(kind_);
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, Success(0, 1, 0));
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.log, IsMeterKind(kind_) ? "T: LAST RECORD ID READ FROM TABLE 0\n\n" : "");
  EXPECT_EQ(Number(kind_), 1);
  EXPECT_EQ(Numbers(kind_), std::vector{1});
}

TEST_P(WriteRecordTest, SaysWhichRowMadeRoom) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 2;
  Store(kind_, 2);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1");
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, Success(2, 1, 2, "Deleted Record 1 from table '" + Table(kind_) + "'\n"));
  EXPECT_EQ(outcome.err, "");
}

TEST_P(WriteRecordTest, NumbersGoRoundTheRing) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  const std::vector<std::vector<int>> expected = {{1}, {1, 2}, {1, 2, 3}, {2, 3, 1}, {3, 1, 2}, {1, 2, 3}};
  for (const std::vector<int>& numbers : expected) {
    Store(kind_, 1);
    EXPECT_EQ(Numbers(kind_), numbers);
    EXPECT_EQ(Number(kind_), numbers.back());
  }
}

TEST_P(WriteRecordTest, NumberingContinuesAfterARestartInTheMiddleOfTheRing) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 5);
  Number(kind_) = 0;
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), 0);
  EXPECT_EQ(Number(kind_), 2);
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

TEST_P(WriteRecordTest, ANumberAtTheLimitWrapsAlsoWhenTheTableIsNotFull) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Number(kind_) = 3;
  const Outcome outcome = WriteOne();
  EXPECT_EQ(outcome.out, Success(3, 1, 0));
  EXPECT_EQ(Numbers(kind_), std::vector{1});
}

TEST_P(WriteRecordTest, ATableAboveALoweredLimitKeepsGrowing) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 5;
  Store(kind_, 5);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 3);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_P(WriteRecordTest, AFullTableWithoutTheNumberLosesNoRow) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 3);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RecordNumber = RecordNumber + 100");
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{101, 102, 103, 1, 2}));
}

TEST_P(WriteRecordTest, TheRowThatMakesRoomIsFoundByTheConfiguredColumn) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 2;
  Store(kind_, 2);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET RequestID = 3 - RecordNumber");
  Config(kind_).i8_RecordNumber.Assign("RequestID");
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 1}));
}

// A table that has outgrown its limit by 65,536 rows looks full.
TEST_P(WriteRecordTest, TheRowCountHasSixteenBits) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Execute(Path(kind_),
          "INSERT INTO " + Table(kind_) +
              " (RecordNumber) WITH RECURSIVE number(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM "
              "number WHERE n < 65539) SELECT n FROM number");
  Store(kind_, 1);
  EXPECT_EQ(Select(kind_, "count(*)"), (Rows{{"65539"}}));
}

TEST_P(WriteRecordTest, TheHighestLimitIsALimitLikeAnyOther) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 65535;
  Number(kind_) = 65534;
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{65535, 1}));
}

TEST_P(WriteRecordTest, RecordsKeepTheirContentAsItWasSent) {
  MakeTable(kind_);
  std::string data = ExampleData(kind_);
  const std::string time = "2026-11-20 10:00:00";
  data.replace(data.find(time), time.size(), "a,b;\"\"''); --");
  Receive(kind_, data);
  Store(kind_, 1);
  EXPECT_EQ(Select(kind_, "SourceTime"), (Rows{{"a,b;\"''); --"}}));
}

TEST_P(WriteRecordTest, OnlyMeterKindsKeepTheTimeOfTheLastWriteAttempt) {
  MakeTable(kind_);
  Store(kind_, 1);
  EXPECT_EQ(Main().PublishTimeStamps.written[kind_].view().size(), IsMeterKind(kind_) ? 19U : 0U);
  EXPECT_TRUE(Main().PublishTimeStamps.published[kind_].empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, WriteRecordTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
