// Failures of the MQTT library and of the system's clock, which nothing real brings about on demand.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "mqtt/inbound/Confirmations.h"
#include "mqtt/inbound/MessageDispatch.h"
#include "mqtt/outbound/Senders.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/ExampleGateway.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"

namespace {

// What the calling thread's next calls answer instead of doing their work; 0: nothing.
thread_local int copyAnswer = 0;
thread_local int publishAnswer = 0;
thread_local int creationError = 0;
thread_local int threadAnswer = 0;
thread_local bool clockFails = false;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand in front of the library's and the system's own in this program.
extern "C" {

int mosquitto_message_copy(mosquitto_message* copy, const mosquitto_message* message) {
  return copyAnswer != 0 ? copyAnswer
                         : Real<int(mosquitto_message*, const mosquitto_message*)>("mosquitto_message_copy")(
                               copy, message);
}

int mosquitto_publish(mosquitto* client, int* id, const char* topic, int length, const void* payload, int qos,
                      bool retain) {
  return publishAnswer != 0 ? publishAnswer
                            : Real<int(mosquitto*, int*, const char*, int, const void*, int, bool)>(
                                  "mosquitto_publish")(client, id, topic, length, payload, qos, retain);
}

mosquitto* mosquitto_new(const char* id, bool cleanSession, void* object) {
  if (creationError != 0) {
    errno = creationError;
    return nullptr;
  }
  return Real<mosquitto*(const char*, bool, void*)>("mosquitto_new")(id, cleanSession, object);
}

int mosquitto_loop_start(mosquitto* client) {
  return threadAnswer != 0 ? threadAnswer : Real<int(mosquitto*)>("mosquitto_loop_start")(client);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (clockFails) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
}
}

namespace datacollector {
namespace {

class LibraryFailures : public ExampleGateway {
 protected:
  ~LibraryFailures() override {
    copyAnswer = 0;
    publishAnswer = 0;
    creationError = 0;
    threadAnswer = 0;
    clockFails = false;
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

// The messages of a publish, by the library's answer. Every other answer has none.
const std::map<int, std::string> kPublishMessages = {
    {1, "Error: Out of memory when trying to publish message.\n"},
    {2, "Error: Protocol error when communicating with broker.\n"},
    {3, "Error: Invalid input. Does your topic contain '+' or '#'?\n"},
    {4, "Error: Client not connected when trying to publish.\n"},
    {9, "Error: Message payload is too large.\n"},
};

TEST_F(LibraryFailures, OnlyFiveAnswersToAPublishHaveAMessage) {
  const LocalBroker broker;
  const ConnectedClient client(*cfg_);
  SetNextPublish(*cfg_, "a/topic", "a message");
  for (int answer = -5; answer <= 40; ++answer) {
    if (answer == MOSQ_ERR_SUCCESS) {
      continue;
    }
    publishAnswer = answer;
    CapturedOutput output;
    EXPECT_EQ(mosquitto_client_publish(*cfg_), 1) << answer;
    const auto message = kPublishMessages.find(answer);
    EXPECT_EQ(output.Err(), message == kPublishMessages.end() ? "" : message->second) << answer;
  }
}

TEST_F(LibraryFailures, AClientThatHasNoMemoryEndsTheStart) {
  creationError = ENOMEM;
  client_config_init(*cfg_);
  CapturedOutput output;
  EXPECT_EQ(mosquitto_client_init(*cfg_), 1);
  EXPECT_EQ(output.Err(), "Error: Out of memory.\n");
}

TEST_F(LibraryFailures, ANetworkThreadThatCannotBeStartedIsAFailedAttempt) {
  const LocalBroker broker;
  client_config_init(*cfg_);
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  threadAnswer = MOSQ_ERR_NOT_SUPPORTED;
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  EXPECT_EQ(output.Err(), std::string("The network thread can't be started (") +
                              mosquitto_strerror(MOSQ_ERR_NOT_SUPPORTED) + ").\n");
  mosquitto_client_cleanup(*cfg_);
}

class CopyFailures : public LibraryFailures {
 protected:
  CopyFailures() { client_config_init(*cfg_); }
  ~CopyFailures() override { client_config_cleanup(*cfg_); }

  std::string Deliver(std::string topic, std::string payload) {
    mosquitto_message message{};
    message.topic = topic.data();
    message.payload = payload.data();
    message.payloadlen = static_cast<int>(payload.size());
    CapturedOutput output;
    on_message_callback(nullptr, cfg_.get(), &message);
    errors_ = output.Err();
    return output.Out();
  }

  std::string errors_;
};

TEST_F(CopyFailures, AreToldAndTheDispatchGoesOnWithAnEmptyPayload) {
  MakeTable(AIO);
  gMainState.DataCollectorDBConfig[AIO].ui16_MaxDatabaseAccessRetry = 1;
  for (const auto& [answer, message] :
       std::map<int, std::string>{{MOSQ_ERR_INVAL, "Failure: input parameters were invalid\n"},
                                  {MOSQ_ERR_NOMEM, "Failure: out of memory condition occurred\n"},
                                  {MOSQ_ERR_UNKNOWN, ""}}) {
    copyAnswer = answer;
    const std::string out = Deliver(SubscribeTopic(0), kExamplePayloads[AIO]);
    EXPECT_EQ(errors_.substr(0, errors_.find("AIO record lost: ")), message);
    EXPECT_EQ(out.find("Success: mosquitto_message_copy"), std::string::npos);
    EXPECT_NE(out.find("i8_AIORecord = ||\n"), std::string::npos) << out;
    EXPECT_TRUE(out.ends_with("Out of on msg call back \n")) << out;
    EXPECT_EQ(cfg_->last_message.topic, nullptr);
  }
}

TEST_F(CopyFailures, SayNothingWhenQuiet) {
  cfg_->quiet = true;
  copyAnswer = MOSQ_ERR_NOMEM;
  Deliver("a/topic", "a payload");
  EXPECT_EQ(errors_, "");
}

TEST_F(CopyFailures, LeaveNothingBehindForTheNextMessage) {
  Deliver("first", "one");
  copyAnswer = MOSQ_ERR_NOMEM;
  Deliver("second", "two");
  copyAnswer = 0;
  Deliver("third", "three");
  EXPECT_STREQ(cfg_->last_message.topic, "third");
  EXPECT_STREQ(static_cast<const char*>(cfg_->last_message.payload), "three");
}

class ClockFailures : public LibraryFailures, public ::testing::WithParamInterface<SourceKind> {
 protected:
  ClockFailures() {
    MakeTable(kind_);
    AddRow(kind_, 5, "0", "time");
  }

  const SourceKind kind_ = GetParam();
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
};

constexpr std::array<std::size_t, kSourceKinds> kConfirmationEntries = {10, 11, 12, 13, 14, 16};

// The error names the callback, whatever the branch.
TEST_P(ClockFailures, OfAConfirmationReleaseItAtTimeZeroUnderTheCallbacksName) {
  flags_.gf64_SendDCDBRecordFlagSetTime.Set(7, 0);
  CapturedOutput output;
  clockFails = true;
  ApplyConfirmation({SubscribeTopic(kConfirmationEntries[kind_]), "X,time,5,1,time"});
  clockFails = false;
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, 1);
  EXPECT_EQ(flags_.gf64_SendDCDBRecordFlagSetTime.Seconds(), 0.0);
  EXPECT_NE(output.Out().find("RecordFlagSetTime = 0.000000\n"), std::string::npos);
  EXPECT_EQ(WithoutLineNumbers(output.Err()),
            "FILE:Confirmations.cpp:LINE:N:FUNCTION:on_message_callback: => Error: clock_gettime Invalid "
            "argument : Error Number:22\n");
}

struct SenderName {
  void (*send)(ClientConfig& cfg, double releaseTime);
  const char* name;
};
constexpr std::array<SenderName, kSourceKinds> kSenders = {
    {{SendAIDCDBRecord, "SendAIDCDBRecord"},
     {SendDIODCDBRecord, "SendDIODCDBRecord"},
     {SendTemperatureDCDBRecord, "SendTemperatureDCDBRecord"},
     {SendRS485DCDBRecord, "SendRS485DCDBRecord"},
     {SendRS232DCDBRecord, "SendRS232DCDBRecord"},
     {SendSNMPDCDBRecord, "SendSNMPDCDBRecord"}}};

TEST_P(ClockFailures, OfASenderAreToldAndStoreZeroSeconds) {
  const LocalBroker broker;
  const ConnectedClient client(*cfg_);
  AddRow(kind_, 5);
  gui8_WanStatus = 1;
  flags_.gui32_LastDCDBRecordSentTime = 77;
  CapturedOutput output;
  clockFails = true;
  kSenders[kind_].send(*cfg_, 0);
  clockFails = false;
  EXPECT_EQ(flags_.gui32_LastDCDBRecordSentTime, 0U);
  EXPECT_EQ(flags_.gi32_LastSentDCDBRecordNum, 5);
  EXPECT_NE(output.Out().find("RecordSentTime"), std::string::npos);
  EXPECT_NE(WithoutLineNumbers(output.Err())
                .find(std::string("FILE:Senders.cpp:LINE:N:FUNCTION:") + kSenders[kind_].name +
                      ": => Error: clock_gettime Invalid argument : Error Number:22\n"),
            std::string::npos)
      << output.Err();
}

INSTANTIATE_TEST_SUITE_P(Kinds, ClockFailures, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
