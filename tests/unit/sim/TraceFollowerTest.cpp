#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <ios>
#include <string>
#include <vector>

#include "Ledger.h"
#include "TraceFollower.h"
#include "ground/KindShape.h"

namespace datacollector::sim {
namespace {

const std::vector<SourceKind> kAll{kAllKinds.begin(), kAllKinds.end()};

class TraceFollowerTest : public testing::Test {
 protected:
  void TearDown() override { std::remove(path_.c_str()); }

  void Write(const std::string& text, std::ios::openmode mode = std::ios::app) const {
    std::ofstream(path_, mode) << text;
  }

  std::string path_ = testing::TempDir() + "trace-" + std::to_string(getpid());
  Ledger ledger_{true};
};

TEST_F(TraceFollowerTest, CountsTheStoredRecordsOfEveryKind) {
  Write("");
  TraceFollower trace(path_, kAll, ledger_);
  Write(
      "AIO DataBase written Successfully\nDIO DataBase written Successfully\n"
      "Temperature DataBase written Successfully\nSuccess: EMeter RS485 Line 1 Database Written "
      "Successfully\n"
      "Success: EMeter RS485 Line 2 Database Written Successfully\n"
      "Success: EMeter RS232 Database Written Successfully\n"
      "Success: EMeter SNMP Line 1 Database Written Successfully\nFailure: Fail to write AIO Database\n");
  trace.Tick();
  for (const SourceKind kind : kAll) {
    EXPECT_EQ(ledger_.Counts(kind).stored, kind == RS485 ? 2U : 1U) << kKindWord[kind];
  }
}

TEST_F(TraceFollowerTest, LeavesOutWhatWasThereBefore) {
  Write("AIO DataBase written Successfully\n");
  TraceFollower trace(path_, kAll, ledger_);
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).stored, 0U);
}

TEST_F(TraceFollowerTest, ReadsAFileThatAppearsLaterFromItsStart) {
  TraceFollower trace(path_, kAll, ledger_);
  trace.Tick();
  EXPECT_FALSE(trace.Found());
  Write("AIO DataBase written Successfully\n");
  trace.Tick();
  EXPECT_TRUE(trace.Found());
  EXPECT_EQ(ledger_.Counts(AIO).stored, 1U);
}

TEST_F(TraceFollowerTest, ReadsAFileThatWasCutShortFromItsStart) {
  Write(std::string(200, 'x') + '\n');
  TraceFollower trace(path_, kAll, ledger_);
  trace.Tick();
  Write("AIO DataBase written Successfully\n", std::ios::trunc);
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).stored, 1U);
}

TEST_F(TraceFollowerTest, WaitsForTheEndOfALine) {
  Write("");
  TraceFollower trace(path_, kAll, ledger_);
  Write("AIO DataBase writ");
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).stored, 0U);
  Write("ten Successfully\n");
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).stored, 1U);
}

TEST_F(TraceFollowerTest, FindsATextBehindOneWithoutALineEnd) {
  Write("");
  TraceFollower trace(path_, kAll, ledger_);
  Write("Flag is not set####AIO DataBase written Successfully\n");
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).stored, 1U);
}

TEST_F(TraceFollowerTest, AppliesConfirmationsByRecordNumber) {
  Write("");
  TraceFollower trace(path_, kAll, ledger_);
  ledger_.Offer(AIO);
  ledger_.Published(AIO);
  Packet packet;
  packet.number = 1;
  packet.recordNumber = 17;
  packet.ours = true;
  ledger_.HandedOver(AIO, packet);
  Write("Failure: UpdateAIDBRecord, record not updated, RecordNumber=17, TxStatus and TxTimestamp\n");
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).confirmed, 0U);
  Write("Success: UpdateAIDBRecord, record updated, RecordNumber = 17, TxStatus and TxTimestamp \n");
  trace.Tick();
  EXPECT_EQ(ledger_.Counts(AIO).confirmed, 1U);
}

TEST_F(TraceFollowerTest, WithoutAPathThereIsNothingToMiss) {
  TraceFollower trace("", kAll, ledger_);
  trace.Tick();
  EXPECT_TRUE(trace.Found());
}

}  // namespace
}  // namespace datacollector::sim
