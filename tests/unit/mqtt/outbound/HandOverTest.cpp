// The two steps below a sender: the verdict on what a reader returns, and the hand-over of one record.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/outbound/HandOver.h"
#include "mqtt/outbound/SendUnsent.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

using SendUnsent = std::int32_t (*)(DataCollectorMainStructure& main, RecordHandOver& handOver);
struct UnsentWords {
  SendUnsent send;
  std::string kind;
};
const std::array<UnsentWords, kSourceKinds> kWords = {{{SendUnsentAIDCDBRecord, "AI"},
                                                       {SendUnsentDIODCDBRecord, "DIO"},
                                                       {SendUnsentTemperatureDCDBRecord, "Temperature"},
                                                       {SendUnsentRS485DCDBRecord, "RS485"},
                                                       {SendUnsentRS232DCDBRecord, "RS232"},
                                                       {SendUnsentSNMPDCDBRecord, "SNMP"}}};

// Notes what a reader asks for; refuses the packet where it is told to.
class NotedHandOver final : public RecordHandOver {
 public:
  explicit NotedHandOver(SourceKind kind, bool accept) : kind_(kind), accept_(accept) {}

  void Announce(std::int32_t recordNumber) override {
    calls_ += "announce " + std::to_string(recordNumber) + Verdict();
  }
  bool Publish(const char* topic, const char* /*packet*/) override {
    calls_ += std::string("publish ") + topic + Verdict();
    return accept_;
  }
  void Withdraw() override { calls_ += "withdraw" + Verdict(); }
  void Recall() override { calls_ += "recall" + Verdict(); }

  const std::string& Calls() const { return calls_; }

 private:
  std::string Verdict() const {
    return CloudConnectSendFlags[kind_].gui8_NoDCDBRecordsToPublish == 1 ? " (none left)\n" : "\n";
  }

  SourceKind kind_;
  bool accept_;
  std::string calls_;
};

class Unsent : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  Unsent() {
    MakeTable(kind_);
    gMainState.DataCollectorDBParams[kind_].ui16_MaxReadTry = 1;
  }

  std::string Send(bool accept) {
    NotedHandOver handOver(kind_, accept);
    CapturedOutput output;
    result_ = words_.send(gMainState, handOver);
    calls_ = handOver.Calls();
    return Folded(output.Out(), {Function("SendUnsent")});
  }

  std::string Function(const std::string& verb) const { return verb + words_.kind + "DCDBRecord"; }
  std::string Traced(const std::string& outcome) const {
    const std::string line = "FILE:SendUnsent.cpp:LINE:N:FUNCTION:" + Function("SendUnsent");
    return line + ":START\n<" + Function("Read") + "AndPublish>\n" + outcome + line + ":END\n";
  }
  // The meters tell the value as well.
  std::string Outcome(const std::string& word, const std::string& value) const {
    return word + ": " + Function("Read") + "AndPublish" + (kind_ >= RS485 ? " : " + value : "") + "\n";
  }
  std::string Topic() const {
    return gMainState.DataCollectorMqttTopics
        .i8_HTTPSendPublishTopics[kind_ == SNMP ? std::size_t{6} : std::size_t{kind_}]
        .c_str();
  }

  const SourceKind kind_ = GetParam();
  const UnsentWords& words_ = kWords[kind_];
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
  std::int32_t result_ = -99;
  std::string calls_;
};

TEST_P(Unsent, ARecordIsAnnouncedThenPublishedAndItsNumberReturned) {
  AddRow(kind_, 9);
  EXPECT_EQ(Send(true), Traced(Outcome("Success", "9")));
  EXPECT_EQ(result_, 9);
  EXPECT_EQ(calls_, "announce 9 (none left)\npublish " + Topic() + " (none left)\n");
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 0);
}

TEST_P(Unsent, ARefusedPacketIsWithdrawnAndAFailureForMetersAlone) {
  AddRow(kind_, 9);
  EXPECT_EQ(Send(false), Traced(kind_ >= RS485 ? Outcome("Failure", "-1") : Outcome("Success", "9")));
  EXPECT_EQ(result_, kind_ >= RS485 ? -1 : 9);
  EXPECT_EQ(calls_, "announce 9 (none left)\npublish " + Topic() + " (none left)\nwithdraw (none left)\n");
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 0);
}

TEST_P(Unsent, WithoutARecordNothingIsAnnouncedAndTheVerdictStays) {
  EXPECT_EQ(Send(true), Traced("Failure: " + Function("Read") + "AndPublish no record to be published\n"));
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(calls_, "");
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 1);
}

TEST_P(Unsent, AFailedReadLowersTheVerdict) {
  RunSql(DatabaseOf(kind_), "DROP TABLE " + TableOf(kind_));
  EXPECT_EQ(Send(true), Traced(Outcome("Failure", "-1")));
  EXPECT_EQ(result_, -1);
  EXPECT_EQ(flags_.gui8_NoDCDBRecordsToPublish, 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Unsent, ::testing::ValuesIn(kAllKinds), KindName());

class HandOverSteps : public ::testing::Test, public ::testing::WithParamInterface<SourceKind> {
 protected:
  HandOverSteps() {
    ZeroFlags();
    flags_.gui32_LastDCDBRecordSentTime = 77;
    flags_.gi32_LastSentDCDBRecordNum = 8;
    flags_.gui8_SendUnsentDCDBRecord = 1;
    flags_.gui8_SendDCDBRecordRetryFlags = 1;
    flags_.gui8_SendDCDBRecordFlags = 1;
    gi32_HTTPThreadSendFlag = 1;
  }
  ~HandOverSteps() override { ZeroFlags(); }

  const SourceKind kind_ = GetParam();
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
  HandOver handOver_{kind_, *cfg_, 0.0};
};

TEST_P(HandOverSteps, TheAnnouncementCarriesTheTimeOfTheSending) {
  const ClockReading before = TakeMonotonicClock();
  handOver_.Announce(9);
  const ClockReading after = TakeMonotonicClock();
  EXPECT_LE(before.now.tv_sec, handOver_.SentAt().now.tv_sec);
  EXPECT_LE(handOver_.SentAt().now.tv_sec, after.now.tv_sec);
  EXPECT_EQ(flags_.gui32_LastDCDBRecordSentTime, handOver_.SentAt().now.tv_sec);
  EXPECT_EQ(flags_.gi32_LastSentDCDBRecordNum, 9);
}

TEST_P(HandOverSteps, OnlyAioLeavesTheSendGateOpen) {
  handOver_.Announce(9);
  EXPECT_EQ(gi32_HTTPThreadSendFlag == kGateOpen, kind_ == AIO);
}

TEST_P(HandOverSteps, AGateThatAMessageHasOpenedSinceStaysOpen) {
  gi32_HTTPThreadSendFlag = 0;
  handOver_.Announce(9);
  gi32_HTTPThreadSendFlag = 1;
  handOver_.Withdraw();
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_P(HandOverSteps, AGateThatWasClosedIsClosedAgain) {
  gi32_HTTPThreadSendFlag = 0;
  handOver_.Announce(9);
  handOver_.Withdraw();
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

// Ingestion closes the gate while the packet is on its way to being refused.
TEST_P(HandOverSteps, AGateThatIngestionHasClosedSinceIsNotOpened) {
  handOver_.Announce(9);
  gi32_HTTPThreadSendFlag = 0;
  handOver_.Withdraw();
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

TEST_P(HandOverSteps, AnAnnouncementIsCounted) {
  const std::uint32_t before = flags_.word.Load();
  handOver_.Announce(9);
  EXPECT_FALSE(flags_.word.SetSince(before, kRetryDue | kSendUnsent | kSendWanted));
  EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, 0);
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 0);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 0);
}

// What was decided while the record was announced is not about the one that stands again.
TEST_P(HandOverSteps, TakingAnAnnouncementBackIsCountedToo) {
  handOver_.Announce(9);
  const std::uint32_t announced = flags_.word.Load();
  handOver_.Recall();
  EXPECT_FALSE(flags_.word.SetSince(announced, kSendWanted));
}

TEST_P(HandOverSteps, ARecalledAnnouncementLeavesNothingBehind) {
  handOver_.Announce(9);
  handOver_.Recall();
  EXPECT_EQ(flags_.gi32_LastSentDCDBRecordNum, 8);
  EXPECT_EQ(flags_.gui32_LastDCDBRecordSentTime, 77U);
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, 1);
  EXPECT_EQ(flags_.gui8_FirstDCDBRecordSent, 0);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 1);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, kGateOpen);
}

// A confirmation, or the timer, that came in between.
TEST_P(HandOverSteps, WhatWasSetSinceAnAnnouncementStaysWhenItIsRecalled) {
  flags_.gui8_SendUnsentDCDBRecord = 0;
  flags_.gui8_SendDCDBRecordRetryFlags = 0;
  flags_.gui8_SendDCDBRecordFlags = 0;
  handOver_.Announce(9);
  flags_.word.Set(kSendUnsent | kSendWanted | kRetryDue);
  handOver_.Recall();
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, 1);
}

TEST_P(HandOverSteps, OnlyMetersTakeTheirAnnouncementBack) {
  handOver_.Announce(9);
  handOver_.Withdraw();
  const bool meter = kind_ == RS485 || kind_ == RS232 || kind_ == SNMP;
  EXPECT_EQ(flags_.gi32_LastSentDCDBRecordNum, meter ? 8 : 9);
  EXPECT_EQ(flags_.gui32_LastDCDBRecordSentTime == 77, meter);
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, meter ? 1 : 0);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, meter ? 1 : 0);
  EXPECT_EQ(flags_.gui8_FirstDCDBRecordSent, meter ? 0 : 1);
  EXPECT_EQ(flags_.gui8_SendDCDBRecordFlags, meter ? 1 : 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_P(HandOverSteps, PublishingKeepsCopiesOfTopicAndPacket) {
  CapturedOutput output;
  EXPECT_FALSE(handOver_.Publish("a/topic", "a packet"));
  EXPECT_STREQ(cfg_->topic.get(), "a/topic");
  EXPECT_STREQ(cfg_->message.get(), "a packet");
  EXPECT_EQ(cfg_->msglen, 8);
  output.Out();
}

INSTANTIATE_TEST_SUITE_P(Kinds, HandOverSteps, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
