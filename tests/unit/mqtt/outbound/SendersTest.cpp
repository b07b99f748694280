// Handing over a kind's oldest unsent record.
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <thread>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/outbound/SendUnsent.h"
#include "mqtt/outbound/Senders.h"
#include "store/StoreAccess.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/ExampleGateway.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

struct SenderWords {
  void (*send)(ClientConfig& cfg, double releaseTime);
  std::string kind;  // in function names
  std::string sending;
  std::string sentTime;
  std::string success;
  std::string topic;
};

constexpr const char* kSending = "Wan is up, sending records to backend server..\n";

const std::array<SenderWords, kSourceKinds> kWords = {{
    {SendAIDCDBRecord, "AI", kSending, "gui32_LastCDBRecordSentTime[AIO]",
     "Success: SendUnsentAIDCDBRecords\n", "HTTPSend/AIO/Record"},
    {SendDIODCDBRecord, "DIO", "Wan is up, sending DIO records to backend server..\n",
     "gui32_LastCDBRecordSentTime[DIO]", "Success: SendUnsentAIDCDBRecords\n", "HTTPSend/DIO/Record"},
    {SendTemperatureDCDBRecord, "Temperature", "Wan is up, sending Temperature records to backend server..\n",
     "gui32_LastCDBRecordSentTime[TEMPERATURE]", "Success: SendUnsentTemperatureDCDBRecords\n",
     "HTTPSend/Temperature/Record"},
    {SendRS485DCDBRecord, "RS485", kSending, "CloudConnectSendFlags.gui32_RS485LastDCDBRecordSentTime",
     "Success: SendUnsentRS485DCDBRecords\n", "HTTPSend/RS485/Record"},
    {SendRS232DCDBRecord, "RS232", kSending, "CloudConnectSendFlags.gui32_RS232LastDCDBRecordSentTime",
     "Success: SendUnsentRS232DCDBRecords\n", "HTTPSend/RS232/Record"},
    {SendSNMPDCDBRecord, "SNMP", kSending, "CloudConnectSendFlags.gui32_SNMPLastDCDBRecordSentTime",
     "Success: SendUnsentSNMPDCDBRecords\n", "HTTPSend/SNMP/Record"},
}};

// A kind's flags, and the send gate, at one moment.
struct Snapshot {
  std::uint32_t sentTime;
  int sentNumber;
  int sendUnsent;
  int retry;
  int firstSent;
  int send;
  int noRecords;
  int gate;

  bool operator==(const Snapshot&) const = default;
};
Snapshot Take(SourceKind kind) {
  const KindSendFlags& flags = CloudConnectSendFlags[kind];
  return {flags.gui32_LastDCDBRecordSentTime, flags.gi32_LastSentDCDBRecordNum,
          flags.gui8_SendUnsentDCDBRecord,    flags.gui8_SendDCDBRecordRetryFlags,
          flags.gui8_FirstDCDBRecordSent,     flags.gui8_SendDCDBRecordFlags,
          flags.gui8_NoDCDBRecordsToPublish,  gi32_HTTPThreadSendFlag};
}

// What stood in the flags when a packet left; `watchedKind` is the kind that sends.
SourceKind watchedKind;
std::optional<Snapshot> atPublish;

void WatchPublish(mosquitto* /*mosq*/, void* /*object*/, int /*level*/, const char* text) {
  if (std::string_view(text).find("sending PUBLISH ") != std::string_view::npos && !atPublish) {
    atPublish = Take(watchedKind);
  }
}

class Senders : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  Senders() {
    MakeTable(kind_);
    gMainState.DataCollectorDBParams[kind_].ui16_MaxReadTry = 1;
    gui8_WanStatus = 1;
    gi32_HTTPThreadSendFlag = 1;
  }

  // Returns the trace; flags of RS-485 that are shown between lines of "#" are left out.
  std::string Send(ClientConfig& cfg, double releaseTime = 0) {
    CapturedOutput output;
    words_.send(cfg, releaseTime);
    errors_ = output.Err();
    const std::string out = Folded(output.Out(), {Function("Send") + "Record"});
    return WithoutClock(std::regex_replace(out, std::regex("#+\n(gui8.* = [0-9]\n)+#+\n"), ""));
  }

  // "SendAIDCDB", "SendUnsentAIDCDB", ...
  std::string Function(const std::string& verb) const { return verb + words_.kind + "DCDB"; }

  std::string Traced(const std::string& text) const {
    const std::string line = "FILE:Senders.cpp:LINE:N:FUNCTION:" + Function("Send") + "Record";
    const bool started = kind_ == DIO || kind_ == TEMPERATURE;
    return line + ":START\n" + (started ? " " + Function("Send") + "Record started\n" : "") + text + line +
           ":END\n";
  }

  std::string Sent(int number, const std::string& before = "0.000000",
                   const std::string& now = "0.000000") const {
    const std::string time = Function("Send") + "RecordFlagSetTime = ";
    return words_.sending + "<" + Function("SendUnsent") + "Record>\nf64_" + time + before + ", gf64_" +
           time + now + "\n" + kClockLines + words_.sentTime + " = " +
           std::to_string(flags_.gui32_LastDCDBRecordSentTime) + "\n" + words_.success + words_.kind +
           "DCDBRecord Number = " + std::to_string(number) + ", published successfully\n";
  }

  const SourceKind kind_ = GetParam();
  const SenderWords& words_ = kWords[kind_];
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
  const bool meter_ = kind_ == RS485 || kind_ == RS232 || kind_ == SNMP;
  const bool closesGate_ = kind_ != AIO;
  std::string errors_;
};

class SendersWithBroker : public Senders {
 protected:
  LocalBroker broker_;
  Listener listener_;
  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
  ConnectedClient client_{*cfg_};
};

TEST_P(SendersWithBroker, HandOverTheOldestUnsentRecordAndPrintTheirTexts) {
  AddRow(kind_, 8, "1");
  AddRow(kind_, 9, "0");
  AddRow(kind_, 1, "0");
  const std::string out = Send(*cfg_);
  EXPECT_EQ(out, Traced(Sent(9)));
  EXPECT_EQ(errors_, "");
  ASSERT_TRUE(listener_.WaitForMessages(1));
  const HeardMessage heard = listener_.Heard().at(0);
  EXPECT_EQ(heard.topic, words_.topic);
  EXPECT_EQ(heard.payload.find("<,SITE01,2026-11-20 10:00:01,9,"), 0U) << heard.payload;
}

TEST_P(SendersWithBroker, ARetryIsAnnouncedInTheTrace) {
  AddRow(kind_, 9);
  flags_.gui8_SendDCDBRecordRetryFlags = 1;
  const std::string word = kind_ == AIO ? "AIO" : words_.kind;
  const std::string out = Send(*cfg_);
  EXPECT_EQ(out, Traced("forcefully sending unsent " + word + " record = 1\n ..\n" + Sent(9)));
}

// Whatever a confirmation compares, sets or starts from is in place before it can come.
TEST_P(SendersWithBroker, EverythingIsAnnouncedBeforeThePacketLeaves) {
  AddRow(kind_, 9);
  flags_.gui8_SendUnsentDCDBRecord = 1;
  flags_.gui8_SendDCDBRecordRetryFlags = 1;
  flags_.gui8_SendDCDBRecordFlags = 1;
  watchedKind = kind_;
  atPublish.reset();
  mosquitto_log_callback_set(cfg_->mosq, WatchPublish);
  Send(*cfg_);
  mosquitto_log_callback_set(cfg_->mosq, nullptr);
  ASSERT_TRUE(atPublish);
  EXPECT_GT(atPublish->sentTime, 0U);
  EXPECT_EQ(atPublish->sentNumber, 9);
  EXPECT_EQ(atPublish->sendUnsent, 0);
  EXPECT_EQ(atPublish->retry, 0);
  EXPECT_EQ(atPublish->firstSent, 1);
  EXPECT_EQ(atPublish->send, 0);
  EXPECT_EQ(atPublish->gate, closesGate_ ? kGateClosedByHandOver : kGateOpen);
  Snapshot after = *atPublish;
  after.noRecords = 0;
  EXPECT_EQ(Take(kind_), after);
}

// A confirmation came in since the caller looked: the next record goes at once.
TEST_P(SendersWithBroker, AReleaseSinceTheDecisionKeepsTheSendFlag) {
  AddRow(kind_, 9);
  flags_.gui8_SendDCDBRecordFlags = 1;
  flags_.gf64_SendDCDBRecordFlagSetTime.Set(12, 500000000);
  const std::string out = Send(*cfg_, 12.25);
  EXPECT_EQ(out, Traced(Sent(9, "12.250000", "12.500000")));
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 1);
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 0);
  flags_.gui8_SendUnsentDCDBRecord = 1;
  Send(*cfg_, 12.5);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 0);
}

TEST_P(SendersWithBroker, TheSameRecordGoesAgainUntilItIsConfirmed) {
  AddRow(kind_, 9);
  AddRow(kind_, 10);
  Send(*cfg_);
  flags_.gui8_SendDCDBRecordRetryFlags = 1;
  Send(*cfg_);
  ASSERT_TRUE(listener_.WaitForMessages(2));
  EXPECT_EQ(listener_.Heard().at(0).payload, listener_.Heard().at(1).payload);
}

TEST_P(SendersWithBroker, OnlyMetersSendAgainWithoutAConfirmation) {
  AddRow(kind_, 9);
  Send(*cfg_);
  const std::string out = Send(*cfg_);
  EXPECT_EQ(out, Traced(meter_ ? Sent(9) : ""));
}

INSTANTIATE_TEST_SUITE_P(Kinds, SendersWithBroker, ::testing::ValuesIn(kAllKinds), KindName());

// Without a connection every packet is refused.
class SendersWithoutBroker : public Senders {
 protected:
  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

// An I/O kind counts a refused packet as sent, and its retry timer repeats it; a meter kind is as before.
TEST_P(SendersWithoutBroker, ARefusedPacketLeavesMetersAsTheyWereAndTheGateOfAllKinds) {
  for (const int gate : {1, 0}) {
    AddRow(kind_, 9);
    flags_.gui32_LastDCDBRecordSentTime = 77;
    flags_.gi32_LastSentDCDBRecordNum = 8;
    flags_.gui8_SendUnsentDCDBRecord = 1;
    flags_.gui8_SendDCDBRecordRetryFlags = 1;
    flags_.gui8_FirstDCDBRecordSent = 0;
    flags_.gui8_SendDCDBRecordFlags = 1;
    gi32_HTTPThreadSendFlag = gate;
    const Snapshot before = Take(kind_);
    const std::string out = Send(*cfg_);
    if (meter_) {
      EXPECT_EQ(Take(kind_), before);
      EXPECT_NE(out.find("Failure: " + Function("SendUnsent") + "Records\n"), std::string::npos) << out;
    } else {
      const Snapshot after = {flags_.gui32_LastDCDBRecordSentTime, 9, 0, 0, 1, 0, 0, gate};
      EXPECT_EQ(Take(kind_), after);
      EXPECT_NE(out.find(words_.success), std::string::npos) << out;
    }
  }
}

TEST_P(SendersWithoutBroker, WithoutAnUnsentRecordTheVerdictIsNoted) {
  AddRow(kind_, 9, "1");
  Snapshot expected = Take(kind_);
  EXPECT_EQ(Send(*cfg_), Traced(words_.sending + "<" + Function("SendUnsent") + "Record>\nFailure: " +
                                Function("SendUnsent") + "Records no unsent record present\n"));
  expected.noRecords = 1;
  expected.sendUnsent = meter_ ? 1 : 0;
  EXPECT_EQ(Take(kind_), expected);
}

TEST_P(SendersWithoutBroker, ATableThatCannotBeReadChangesNoFlag) {
  RunSql(DatabaseOf(kind_), "DROP TABLE " + TableOf(kind_));
  Snapshot expected = Take(kind_);
  EXPECT_EQ(Send(*cfg_), Traced(words_.sending + "<" + Function("SendUnsent") +
                                "Record>\nFailure: " + Function("SendUnsent") + "Records\n"));
  expected.sendUnsent = meter_ ? 1 : 0;
  EXPECT_EQ(Take(kind_), expected);
}

// An AIO database that can't be opened counts as empty.
TEST_P(SendersWithoutBroker, ADatabaseThatCannotBeOpenedIsAFailureForAllButAio) {
  gMainState.DataCollectorDBParams[kind_].i8_DatabaseName.Assign("/nowhere/at/all.db");
  const std::string out = Send(*cfg_);
  EXPECT_EQ(out, Traced(words_.sending + "<" + Function("SendUnsent") +
                        "Record>\nFailure: " + Function("SendUnsent") + "Records" +
                        (kind_ == AIO ? " no unsent record present\n" : "\n")));
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, kind_ == AIO ? 1 : 0);
}

// A record that is stored while the table is read lowers the verdict again and is not overlooked.
TEST_P(SendersWithoutBroker, TheVerdictIsInForceBeforeTheTableIsRead) {
  gMainState.DataCollectorDBParams[kind_].ui16_MaxReadTry = 10000;
  gMainState.DataCollectorDBConfig[kind_].i32_DatabaseAccessWaitInterval = 0;
  AddRow(kind_, 9);
  ResetStore();  // with a log, only who has the database alone keeps readers out
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(DatabaseOf(kind_).c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr),
            SQLITE_OK);
  CapturedOutput output;
  std::thread forwarding([this] { words_.send(*cfg_, 0); });
  EXPECT_TRUE(WaitUntil([this] { return flags_.gui8_NoDCDBRecordsToPublish == 1; }));
  sqlite3_close(holder);
  forwarding.join();
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 0);
  output.Out();
}

INSTANTIATE_TEST_SUITE_P(Kinds, SendersWithoutBroker, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
