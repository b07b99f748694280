// Recovery of the last record number, and the records that wait for it.

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "store/ReadLastRecordID.h"
#include "unit/store/LockHolder.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

// Ends the sleep of a thread, which a signal does, as soon as it sleeps; returns when `sleeping` is over.
void Wake(std::thread& thread, const std::atomic<bool>& sleeping) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &action, nullptr);
  WaitUntil([&] {
    ::pthread_kill(thread.native_handle(), SIGUSR1);
    return !sleeping;
  });
}

class RecoveryTest : public KindTest {
 protected:
  RecoveryTest() : function_("ReadLast" + (kind_ == AIO ? "AIO" : word_) + "RecordID") {
    Config(kind_).ui16_MaxDatabaseAccessRetry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
    ForgetStore();
  }

  Outcome Recover() {
    return Observe([&] { return ReadLast(kind_); }, {function_});
  }

  std::string Opened() { return "Connection to database '" + Path(kind_) + "' is successfull\n"; }

  const std::string function_;
};

TEST_P(RecoveryTest, AnEmptyTableGives0) {
  MakeTable(kind_);
  Number(kind_) = 17;
  const Outcome outcome = Recover();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out, Traced("ReadLastRecordID.cpp", function_,
                                Opened() + "Read last Record number '0' from table '" + Table(kind_) +
                                    "'\nReturning SUCCESS from function 'ReadLastRecordID'\n"));
  EXPECT_EQ(outcome.err + outcome.log, "");
  EXPECT_EQ(Number(kind_), 0);
  EXPECT_TRUE(IsRecovered(kind_));
}

TEST_P(RecoveryTest, TheLastInsertedRowCountsNotTheHighestNumber) {
  MakeTable(kind_);
  Config(kind_).ui16_MAXRecords = 3;
  Store(kind_, 5);
  Number(kind_) = 0;
  const Outcome outcome = Recover();
  EXPECT_EQ(outcome.out,
            Traced("ReadLastRecordID.cpp", function_,
                   Opened() +
                       "RECORD_NUMBER Column Name: RecordNumber\ngui16_LatestRecordID = 2\n"
                       "Read last Record number '2' from table '" +
                       Table(kind_) + "'\nReturning SUCCESS from function 'ReadLastRecordID'\n"));
  EXPECT_EQ(Number(kind_), 2);
}

TEST_P(RecoveryTest, ARowWithoutTheRecordNumberColumnGives0) {
  MakeTable(kind_);
  Store(kind_, 2);
  Config(kind_).i8_RecordNumber.Assign("recordnumber");  // the case counts
  const Outcome outcome = Recover();
  EXPECT_EQ(outcome.result, 0);
  EXPECT_NE(outcome.out.find("RECORD_NUMBER Column Name: recordnumber\nRead last Record number '0'"),
            std::string::npos);
  EXPECT_EQ(Number(kind_), 0);
}

TEST_P(RecoveryTest, ANumberIsCutTo16BitsAndANullIs0) {
  MakeTable(kind_);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (65536 + 5)");
  Recover();
  EXPECT_EQ(Number(kind_), 5);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (NULL)");
  Recover();
  EXPECT_EQ(Number(kind_), 0);
}

TEST_P(RecoveryTest, ADatabaseThatCantBeOpenedLeavesTheNumber) {
  fs::remove_all("/vorl/disk/AppData/K740");
  Number(kind_) = 17;
  const Outcome outcome = Recover();
  std::string attempts;
  for (const char* attempt : {"0", "1", "2"}) {
    attempts += "Can not connect database '" + Path(kind_) + "', so retrying " + attempt + " time\n";
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out, Traced("ReadLastRecordID.cpp", function_,
                                attempts + "<Create" + word_ +
                                    "DB>\nReturning FAILURE from function 'ReadLastRecordID'\n"));
  EXPECT_EQ(outcome.err,
            "Can't Connect to database '" + Path(kind_) + "'\nError message: unable to open database file\n");
  EXPECT_EQ(outcome.log, "");
  EXPECT_EQ(Number(kind_), 17);
  EXPECT_FALSE(IsRecovered(kind_));
}

TEST_P(RecoveryTest, AMissingTableFailsAfterTheAttempts) {
  MakeDatabaseWithoutTable(kind_);
  Number(kind_) = 17;
  const Outcome outcome = Recover();
  const std::string reason = "no such table: " + Table(kind_);
  const std::string failure =
      "can't read last record from table '" + Table(kind_) + "'\nError message:" + reason + "\n";
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out,
            Traced("ReadLastRecordID.cpp", function_,
                   Opened() + failure + "retry after waiting for an interval of '0'seconds\n<Create" + word_ +
                       "DB>\n" + kClockLines + (kind_ == RS485 ? SleepLines(0) : "<Wait>\n") + failure +
                       "Returning FAILURE from function 'ReadLastRecordID'\n"));
  EXPECT_EQ(outcome.err,
            "can not read last record from table '" + Table(kind_) + "'\nError Message:" + reason + "\n");
  EXPECT_EQ(outcome.log, "");
  EXPECT_EQ(Number(kind_), 17);
}

TEST_P(RecoveryTest, OnlyRs485WaitsInMilliseconds) {
  MakeDatabaseWithoutTable(kind_);
  Config(kind_).i32_DatabaseAccessWaitInterval = 1;
  const auto start = std::chrono::steady_clock::now();
  Recover();
  EXPECT_EQ(std::chrono::steady_clock::now() - start >= std::chrono::seconds(1), kind_ != RS485);
}

TEST_P(RecoveryTest, OnlyItsOwnKindIsAnnounced) {
  MakeTable(kind_);
  Recover();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(IsRecovered(kind), kind == kind_);
  }
}

TEST_P(RecoveryTest, ARecordThatIsQuickerMakesTheRecoveryItself) {
  MakeTable(kind_);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (41)");
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_NE(outcome.out.find("<" + function_ + ">\nConnection to database"), std::string::npos);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 42}));
  // The one at start runs all the same, and finds the newest number.
  Number(kind_) = 0;
  EXPECT_EQ(CountOf("Read last Record number '42'", Recover().out), 1U);
  EXPECT_EQ(Number(kind_), 42);
}

// An interval that is meant as milliseconds is minutes at start.
TEST_P(RecoveryTest, APauseAtStartHoldsUpNoRecord) {
  MakeTable(kind_);
  CloseConnection(kind_);
  Config(kind_).i32_DatabaseAccessWaitInterval = kind_ == RS485 ? 20'000 : 20;
  CapturedOutput output;
  std::atomic<bool> paused = true;
  std::thread starting;
  {
    const LockHolder holder(Path(kind_), LockHolder::Lock::Exclusive);
    starting = std::thread([&] {
      ReadLast(kind_);
      paused = false;
    });
    EXPECT_TRUE(WaitUntil([&] { return CountOf("retry after waiting", output.OutSoFar()) == 1; }));
  }
  EXPECT_EQ(Write(kind_), 0);
  EXPECT_TRUE(paused);
  Wake(starting, paused);
  starting.join();
  output.Out();
  EXPECT_EQ(Numbers(kind_), std::vector{1});
  EXPECT_EQ(Number(kind_), 1);
}

TEST_P(RecoveryTest, AFailedRecoveryIsRepeatedBeforeARecordIsNumbered) {
  MakeTable(kind_);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (41)");
  CloseConnection(kind_);
  {
    const LockHolder holder(Path(kind_), LockHolder::Lock::Exclusive);
    EXPECT_EQ(Recover().result, -1);
    EXPECT_FALSE(IsRecovered(kind_));
  }
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 42, 43}));
}

TEST_P(RecoveryTest, ARecordIsRefusedWhileTheRecoveryFails) {
  MakeTable(kind_);
  CloseConnection(kind_);
  const std::string writer = "Write" + word_ + "DCDBRecords";
  Outcome outcome;
  {
    const LockHolder holder(Path(kind_), LockHolder::Lock::Exclusive);
    outcome = Observe([&] { return Write(kind_); }, {writer});
  }
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out,
            Traced("WriteRecord.cpp", writer,
                   (IsMeterKind(kind_) ? "<GetTimeStamp>\n" : "") + std::string("<") + function_ + ">\n" +
                       kLogTrace + "Returning FAILURE from function '" + writer + "'\n"));
  EXPECT_EQ(outcome.log, "T: " + std::string(kKindIndexWord[kind_]) + " record lost: database is locked\n");
  EXPECT_EQ(Number(kind_), 0);
  EXPECT_TRUE(Numbers(kind_).empty());
  EXPECT_FALSE(IsRecovered(kind_));
}

// A record must not keep the network thread for as long as the start may wait.
TEST_P(RecoveryTest, ARecordsRecoveryWaitsInTheUnitOfTheWriter) {
  MakeTable(kind_);
  CloseConnection(kind_);
  Config(kind_).i32_DatabaseAccessWaitInterval = 1;
  const LockHolder holder(Path(kind_), LockHolder::Lock::Exclusive);
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords", function_});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.out.find(SleepLines(1)) != std::string::npos, IsMeterKind(kind_)) << outcome.out;
}

// Nothing can be numbered over: the record fails with the words of its own statements.
TEST_P(RecoveryTest, WithoutATableARecordFailsAtItsOwnStatements) {
  MakeDatabaseWithoutTable(kind_);
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(CountOf("can not get total number of records from table '" + Table(kind_) +
                        "'\nError message:no such table: " + Table(kind_) + "\n",
                    outcome.out),
            2U);
  EXPECT_NE(outcome.out.find("DECREMENTED RECORD NUMBER: 0\n"), std::string::npos);
  EXPECT_EQ(outcome.log.find("T: no such table\n") != std::string::npos, IsMeterKind(kind_)) << outcome.log;
  EXPECT_EQ(Number(kind_), 0);
  EXPECT_FALSE(IsRecovered(kind_));
}

TEST_P(RecoveryTest, WithoutADatabaseARecordFailsWhenItOpensIt) {
  fs::remove_all("/vorl/disk/AppData/K740");
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(CountOf("Can't Connect to database '" + Path(kind_) + "'\n", outcome.err), 2U) << outcome.err;
  EXPECT_EQ(CountOf("Can not connect database energymeter " + word_, outcome.log),
            IsMeterKind(kind_) ? 3U : 0U);
  EXPECT_EQ(Number(kind_), 0);
}

TEST_P(RecoveryTest, ATableThatIsMadeAfterAFailedRecoveryStartsAt1) {
  MakeDatabaseWithoutTable(kind_);
  EXPECT_EQ(Silently([&] { return ReadLast(kind_); }), -1);
  fs::remove(Path(kind_));
  MakeTable(kind_);
  Store(kind_, 2);
  EXPECT_EQ(Numbers(kind_), (std::vector{1, 2}));
}

// The second call of the script brings back a table with rows, between a recovery that failed and the count.
TEST_P(RecoveryTest, ATableThatComesBackWithRowsIsNotNumberedFrom1) {
  MakeTable(kind_);
  CloseConnection(kind_);  // so that nothing stays in the log
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (41)");
  fs::copy_file(Path(kind_), "/tmp/table-to-come", fs::copy_options::overwrite_existing);
  fs::remove_all("/tmp/away");
  fs::remove("/tmp/called");
  Config(kind_).i8_DatabaseName.Assign("/tmp/away/Records.db");
  const StandIn script(kTableScript,
                       "#!/bin/sh\nif [ -e /tmp/called ]; then mkdir /tmp/away; mv /tmp/table-to-come "
                       "/tmp/away/Records.db; fi\n>/tmp/called\n");
  const Outcome outcome = Observe([&] { return Write(kind_); }, {"Write" + word_ + "DCDBRecords"});
  EXPECT_EQ(outcome.result, -1);
  EXPECT_NE(outcome.err.find("The table '" + Table(kind_) + "' has come back with rows"), std::string::npos)
      << outcome.err;
  EXPECT_EQ(Number(kind_), 0);
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 42}));
}

// Nobody recovers a kind that is not enabled; a record of it must not wait for ever.
TEST_P(RecoveryTest, AKindThatIsNotEnabledRecoversWithItsFirstRecord) {
  MakeTable(kind_);
  Execute(Path(kind_), "INSERT INTO " + Table(kind_) + " (RecordNumber) VALUES (41)");
  Main().DataCollectorSourcesConfig = {};
  Store(kind_, 1);
  EXPECT_EQ(Numbers(kind_), (std::vector{41, 42}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, RecoveryTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
