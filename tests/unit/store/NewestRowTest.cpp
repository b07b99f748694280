// A record that may be stored already: it is left out when the newest row holds what its message decides.
#include <string>
#include <vector>

#include "store/WriteRecord.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class NewestRow : public KindTest {
 protected:
  NewestRow() { MakeTable(kind_); }

  // Of the first meter of the first line; SNMP counts its devices from 1.
  RecordOrigin Origin() const {
    return {.meter = kind_ == SNMP ? std::size_t{1} : std::size_t{0},
            .requestId = 7,
            .siteId = "SITE01",
            .deviceId = "GW0001",
            .mayBeStored = true};
  }

  void WriteThatMayBeStored(const RecordOrigin& origin) {
    err_.clear();
    const Outcome outcome = Observe([&] { return WriteRecord(Main(), kind_, origin); });
    EXPECT_EQ(outcome.result, 0);
    err_ = outcome.err;
  }

  void ExpectLeftOut() {
    WriteThatMayBeStored(Origin());
    EXPECT_EQ(err_, std::string(kKindIndexWord[kind_]) + " record left out: the newest row, number " +
                        std::to_string(Number(kind_)) + ", is this record already\n");
  }

  void ExpectStored(const RecordOrigin& origin) {
    const std::size_t rows = Numbers(kind_).size();
    WriteThatMayBeStored(origin);
    EXPECT_EQ(err_, "");
    EXPECT_EQ(Numbers(kind_).size(), rows + 1);
  }

  std::string err_;
};

TEST_P(NewestRow, IsNotStoredTwice) {
  Store(kind_, 3);
  ExpectLeftOut();
  EXPECT_EQ(Number(kind_), 3);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2, 3}));
}

TEST_P(NewestRow, IsKnownAgainWhenItHasBeenConfirmedAndTheGatewayHasChanged) {
  Store(kind_, 1);
  Execute(Path(kind_), "UPDATE " + Table(kind_) + " SET TxStatus = 1, " +
                           Params(kind_).i8_TxStatusTimeColumn.c_str() + " = '2026-11-20 10:00:09'");
  Main().PackingIdentity.gi8_SiteID.Assign("SITE02");
  Main().PackingIdentity.gi8_OverallRecordStartMark.Assign("[");
  Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].Assign("2030-01-01 00:00:00");
  ExpectLeftOut();
}

TEST_P(NewestRow, IsTheOneThatWasStoredLastWhenTheRingHasComeRound) {
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 3);
  Store(kind_, 1);
  ExpectLeftOut();
  EXPECT_EQ(Numbers(kind_), (std::vector{2, 3, 1}));
}

TEST_P(NewestRow, OfAnotherReadingLeavesTheRecordAlone) {
  Store(kind_, 1);
  std::string data = ExampleData(kind_);
  data.replace(data.find("\">\""), 3, "\"!\"");
  Receive(kind_, data);
  ExpectStored(Origin());
}

TEST_P(NewestRow, OfAnotherRecordTypeLeavesTheRecordAlone) {
  Store(kind_, 1);
  Main().i32_AlarmFlag[kind_] = 1;
  ExpectStored(Origin());
}

TEST_P(NewestRow, IsNotLookedForWhenTheRecordIsSurelyNew) {
  Store(kind_, 1);
  RecordOrigin origin = Origin();
  origin.mayBeStored = false;
  ExpectStored(origin);
}

TEST_P(NewestRow, IsNotThereInAnEmptyTable) { ExpectStored(Origin()); }

// SQLite writes numbers its own way, and keeps a doubled quote once.
TEST_P(NewestRow, IsComparedAsTheTableKeepsIt) {
  std::string data = ExampleData(kind_);
  data.replace(data.find("\">\""), 3, "0x1F");
  Receive(kind_, data);
  Silently([&] { return Write(kind_); });
  ExpectLeftOut();
  data.replace(data.find("0x1F"), 4, "\"a \"\"b\"\"\"");
  Receive(kind_, data);
  ExpectStored(Origin());
  ExpectLeftOut();
  data.replace(data.rfind("\"a "), data.size(), "NULL");
  Receive(kind_, data);
  ExpectStored(Origin());
  ExpectLeftOut();
}

// A text that is a column's name is a text all the same.
TEST_P(NewestRow, IsNotTakenForAColumnThatItNames) {
  std::string data = ExampleData(kind_);
  data.replace(data.find("\">\""), 3, "\"SiteID\"");
  Receive(kind_, data);
  Silently([&] { return Write(kind_); });
  ExpectLeftOut();
}

TEST_P(NewestRow, WithoutATableTheRecordMakesItAsEver) {
  Execute(Path(kind_), "DROP TABLE " + Table(kind_));
  RecordOrigin origin = Origin();
  const Outcome outcome = Observe([&] { return WriteRecord(Main(), kind_, origin); });
  EXPECT_EQ(outcome.err.find("left out"), std::string::npos) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(Of, NewestRow, ::testing::ValuesIn(kAllKinds), KindName);

using Rs485NewestRow = StoreTest;

TEST_F(Rs485NewestRow, OfAnotherMeterLeavesTheRecordAlone) {
  MakeTable(RS485);
  Store(RS485, 1);
  Main().DataCollectorDBData.i8_MeterRecord.At(RS485, 1, RS485Line1).Assign(ExampleData(RS485));
  EXPECT_EQ(
      Silently([] { return WriteRecord(Main(), RS485, {.meter = 1, .requestId = 7, .mayBeStored = true}); }),
      0);
  EXPECT_EQ(Numbers(RS485), (std::vector{1, 2}));
}

}  // namespace
}  // namespace datacollector
