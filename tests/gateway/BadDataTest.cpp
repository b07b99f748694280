// Record data and confirmations that are not what they should be: nothing of them runs as SQL, nothing is
// stored of a bad record, and the daemon goes on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class BadDataTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO, RS232, SNMP}).LoopInterval(20);
    config.Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", 1);
    WanDown();
  }

  // Every one of these must be refused, and the next good record must take the number that they would have
  // had.
  void ExpectRefused(SourceKind kind, const std::vector<std::string>& payloads) {
    Start();
    Store(kind, 1);
    for (const std::string& payload : payloads) {
      const Transcript::Mark before = Out().End();
      Deliver(FactsOf(kind).recordTopic, payload);
      EXPECT_EQ(Out().Count(FactsOf(kind).stored, before), 0U) << payload;
      EXPECT_EQ(Out().Count(FactsOf(kind).notStored, before), 1U) << payload;
      EXPECT_EQ(Out().Count("DECREMENTED RECORD NUMBER: 1\n", before), 1U) << payload;
    }
    Store(kind, 2);
    EXPECT_EQ(ColumnOf(kind, "RequestID"), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(ColumnOf(kind, "RecordNumber"), (std::vector<std::string>{"1", "2"}));
  }
};

// The AIO record data with something else in place of its first value.
std::string AioWith(const std::string& value) {
  return R"("<","M417",0,7,99,)" + value + R"(,56.78,"2026-11-20 10:00:00",0,"0",">")";
}

TEST_F(BadDataTest, AnalogDataThatIsNotAListOfLiteralsIsRefused) {
  ExpectRefused(AIO, {
                         AioWith("1);DROP TABLE AIO_table;--"),
                         AioWith(R"(1,2,"a",0,"0",">","t",">");DELETE FROM AIO_table;--)"),
                         AioWith("hex(7777)"),
                         AioWith("(SELECT count(*) FROM sqlite_master)"),
                         AioWith("12.34 + 1"),
                         AioWith(R"("a"||"b")"),
                         AioWith("RecordNumber"),
                         AioWith("\"unterminated"),
                         AioWith("x'41'"),
                         AioWith("CURRENT_TIMESTAMP"),
                         AioWith("1 -- comment"),
                         AioWith("?1"),
                         AioWith(""),
                         AioWith("--1"),
                         AioWith("0x"),
                         "not a record",
                         "",
                     });
}

TEST_F(BadDataTest, AnalogDataWithTheWrongNumberOfValuesIsRefused) {
  ExpectRefused(AIO, {AioWith("1,2"), R"("<","M417",0,7,99,">")"});
}

TEST_F(BadDataTest, LiteralsOfAllKindsAreStored) {
  Start();
  const std::vector<std::string> literals = {
      "-12.5e3", "NULL", "'it''s'", R"("say ""so""")", "0x1F", " +7 ", "'1);DROP TABLE AIO_table;--'"};
  const std::vector<std::string> stored = {
      "-12500.0", "NULL", "it's", R"(say "so")", "31", "7", "1);DROP TABLE AIO_table;--"};
  for (const std::string& literal : literals) {
    Deliver(FactsOf(AIO).recordTopic, AioWith(literal));
  }
  EXPECT_EQ(ColumnOf(AIO, "AI1"), stored);
}

TEST_F(BadDataTest, ASiteIdentityThatWouldBeAnExpressionIsRefused) {
  const std::string rest = R"(,0,7,1,1,"PM1-C","1P2W","5","0","40001","3","3","230.1",)"
                           R"("5.2","1.19","2026-11-20 10:00:00",0,"0",">")";
  ExpectRefused(RS232, {R"(1,'"||hex(7777)||"',"GW0001")" + rest, R"(1,"SITE01",'"||hex(7777)||"')" + rest});
}

TEST_F(BadDataTest, ADeviceIdentityThatWouldBeAnExpressionIsRefused) {
  const std::string rest = R"(,7,1,1,"ups-1","UPS","192.168.1.50",161,"0","[",)"
                           R"("load=41;battery=100","]","2026-11-20 10:00:00",0,"0",">")";
  ExpectRefused(SNMP, {R"(1,'"||hex(7777)||"',"GW0001")" + rest, R"(1,"SITE01",'"||hex(7777)||"')" + rest});
}

TEST_F(BadDataTest, ARefusedRecordIsTriedAsOftenAsAStatementThatFails) {
  config.Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", 2);
  Start();
  Deliver(FactsOf(AIO).recordTopic, AioWith("hex(7777)"));
  EXPECT_EQ(Out().Count("can't insert record into table AIO_table\n"), 2U);
  EXPECT_EQ(Out().Count("retry after waiting for an interval of '1' seconds\n"), 1U);
  EXPECT_EQ(Out().Count("Fail to insert record with ID-1 :Error message: ") +
                Err().Count("Fail to insert record with ID-1 :Error message: "),
            1U);
  EXPECT_EQ(Out().Count("DECREMENTED RECORD NUMBER: 0\n"), 1U);
  EXPECT_EQ(Out().Count("Returning FAILURE from function 'WriteAIDCDBRecords'\n"), 1U);
}

TEST_F(BadDataTest, OversizeRecordsAreRefusedAndTheNextOneIsStored) {
  const std::string large(100000, 'A');
  Start();
  Deliver(FactsOf(AIO).recordTopic, AioWith("\"" + large + "\""));
  Deliver(FactsOf(AIO).recordTopic, large);
  Deliver(FactsOf(AIO).recordTopic, std::string(100000, ','));
  Deliver(FactsOf(RS232).recordTopic, "1,\"" + large + "\"");
  Deliver(FactsOf(RS232).recordTopic, "1," + std::string(100000, ','));
  Deliver(FactsOf(SNMP).recordTopic, R"(1,"SITE01","GW0001",7,1,")" + large + "\"");
  Deliver(FactsOf(SNMP).recordTopic, large);
  for (const SourceKind kind : {AIO, RS232, SNMP}) {
    EXPECT_TRUE(RowsOf(kind).empty()) << FactsOf(kind).name;
    Store(kind);
  }
}

TEST_F(BadDataTest, ARecordAsLongAsItsRoomIsStoredWhole) {
  Start();
  const std::size_t others = AioWith("\"\"").size();
  const std::string value(2999 - others, 'A');
  Deliver(FactsOf(AIO).recordTopic, AioWith("\"" + value + "\""));
  EXPECT_EQ(ColumnOf(AIO, "AI1"), std::vector<std::string>{value});
}

TEST_F(BadDataTest, FormatSignsAndBytesOfAllValuesAreOnlyData) {
  Start();
  Deliver(FactsOf(AIO).recordTopic, AioWith(R"("%s%n%d")"));
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  Deliver(FactsOf(AIO).recordTopic, bytes);
  Deliver(FactsOf(AIO).recordTopic, std::string(R"("<",)") + std::string(3, '\0') + ",7");
  EXPECT_EQ(ColumnOf(AIO, "AI1"), std::vector<std::string>{"%s%n%d"});
}

TEST_F(BadDataTest, AFileThatIsNoDatabaseIsPutAsideAndCostsNoRecord) {
  std::filesystem::create_directories(kDatabaseFolder);
  std::ofstream(DatabaseOf(AIO)) << std::string(10000, 'x');
  Start();
  Store(AIO);
  Store(RS232);
  Store(SNMP);
  EXPECT_EQ(Err().Count("AIO database damaged: put aside as AIODataCollectorDB.db.damaged-"), 1U);
  EXPECT_EQ(ColumnOf(AIO, "RecordNumber"), std::vector<std::string>{"1"});
}

TEST_F(BadDataTest, AConfirmationThatIsNoneTouchesNoRow) {
  config.Set(FactsOf(AIO).controlFile, "AIMaxReadTry", 1);
  Start();
  Store(AIO);
  const std::string readTime = RowsOf(AIO).front().at("RecordReadTime");
  const std::string topic = FactsOf(AIO).statusTopic;
  const std::vector<std::string> payloads = {
      "",
      "AIO",
      "AIO,,,,",
      std::string(100000, 'A'),
      std::string(100000, ','),
      "AIO," + readTime + ",2,1,x",
      "AIO,' OR '1'='1,1,1,x",
      "AIO," + readTime + ",1,1,x' WHERE 1=1; DROP TABLE AIO_table;--",
      "AIO," + readTime + "x,1,1,y",
  };
  for (const std::string& payload : payloads) {
    Deliver(topic, payload);
    EXPECT_EQ(ColumnOf(AIO, "TxStatus"), std::vector<std::string>{"0"}) << payload;
  }
  EXPECT_GE(Out().Count("Failure: UpdateAIDBRecord, record not updated, RecordNumber="), 2U);
  Deliver(topic, "AIO," + readTime + ",1,9,then");
  EXPECT_EQ(ColumnOf(AIO, "TxStatus"), std::vector<std::string>{"9"});
}

}  // namespace
}  // namespace datacollector::gateway
