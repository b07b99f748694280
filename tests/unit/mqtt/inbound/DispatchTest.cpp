// The frame around every inbound message: what is printed, what is kept, what is dropped.
#include <gtest/gtest.h>
#include <mosquitto.h>

#include <memory>
#include <ostream>
#include <regex>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/MessageDispatch.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr const char* kRs232Test =
    "DataCollectorMainStructure.DataCollectorSourcesConfig.i32_DataSourcesRS232EnableFlags[RS232Line1][0] : "
    "0\n";

// No source is enabled and no topic configured, so that the frame stands alone.
class Dispatch : public ::testing::Test {
 protected:
  Dispatch() {
    ZeroMainState(gMainState);
    ZeroFlags();
    client_config_init(*cfg_);
  }
  ~Dispatch() override { client_config_cleanup(*cfg_); }

  void Deliver(std::string topic, std::string payload, bool retain = false) {
    mosquitto_message message{};
    message.mid = 12;
    message.topic = topic.data();
    message.payload = payload.empty() ? nullptr : payload.data();
    message.payloadlen = static_cast<int>(payload.size());
    message.qos = 2;
    message.retain = retain;
    on_message_callback(nullptr, cfg_.get(), &message);
  }

  // What the frame prints behind the copy: "T" for the time.
  static std::string Tail() { return std::string(kRs232Test) + "<GetTimeStamp>\n" + kPublishTime + kOut; }

  // The trace with "T" for the time of the tail.
  static std::string TraceOf(CapturedOutput& output) {
    return std::regex_replace(Folded(output.Out()), std::regex("(Publish Time Stamp Start: ).*"), "$1T");
  }

  static constexpr const char* kPublishTime = "Publish Time Stamp Start: T\n";
  static constexpr const char* kOut = "Out of on msg call back \n";

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_F(Dispatch, AMessageIsPrintedTwiceAndCopied) {
  CapturedOutput output;
  Deliver("a/topic", "a,100%s,payload", true);
  EXPECT_EQ(TraceOf(output),
            "on_message_callback:\n"
            "a,100%s,payload\n"
            "mid = <12>\n"
            "topic = <a/topic>\n"
            "payload = <a,100%s,payload>\n"
            "payloadlen = <15>\n"
            "qos = <2>\n"
            "retain = <1>\n"
            "Copy the contents of a mosquitto message to another message\n"
            "Success: mosquitto_message_copy\n"
            "Mid = <12>\n"
            "Topic = <a/topic>\n"
            "Payload = <a,100%s,payload>\n"
            "Payloadlen = <15>\n"
            "Qos = <2>\n"
            "Retain = <1>\n" +
                Tail());
  EXPECT_EQ(output.Err(), "");
}

TEST_F(Dispatch, WhenQuietOnlyThePayloadAndTheTailArePrinted) {
  cfg_->quiet = true;
  CapturedOutput output;
  Deliver("a/topic", "a payload");
  EXPECT_EQ(TraceOf(output), "a payload\n" + Tail());
}

TEST_F(Dispatch, AnEmptyPayloadPrintsNoLineOfItsOwn) {
  cfg_->quiet = true;
  CapturedOutput output;
  Deliver("a/topic", "");
  EXPECT_EQ(TraceOf(output), Tail());
}

TEST_F(Dispatch, AnEmptyPayloadHasEmptyTextsInTheLists) {
  CapturedOutput output;
  Deliver("a/topic", "");
  const std::string out = TraceOf(output);
  EXPECT_NE(out.find("payload = <>\npayloadlen = <0>\n"), std::string::npos) << out;
  EXPECT_NE(out.find("Payload = <>\nPayloadlen = <0>\n"), std::string::npos) << out;
}

struct PrintingOptions {
  const char* name;
  bool verbose;
  bool eol;
  const char* payload;
  const char* printed;

  friend void PrintTo(const PrintingOptions& value, std::ostream* out) { *out << value.name; }
};

class PayloadPrinting : public Dispatch, public ::testing::WithParamInterface<PrintingOptions> {};

TEST_P(PayloadPrinting, FollowsTheOptions) {
  cfg_->quiet = true;
  cfg_->verbose = GetParam().verbose;
  cfg_->eol = GetParam().eol;
  CapturedOutput output;
  Deliver("a/topic", GetParam().payload);
  EXPECT_EQ(TraceOf(output), GetParam().printed + Tail());
}

INSTANTIATE_TEST_SUITE_P(
    Options, PayloadPrinting,
    ::testing::Values(PrintingOptions{"TerseWithoutLineEnd", false, false, "text", "text"},
                      PrintingOptions{"TerseEmptyWithoutLineEnd", false, false, "", ""},
                      PrintingOptions{"VerboseWithLineEnd", true, true, "text", "a/topic text\n"},
                      PrintingOptions{"VerboseWithoutLineEnd", true, false, "text", "a/topic text"},
                      PrintingOptions{"VerboseEmptyWithLineEnd", true, true, "", "a/topic (null)\n"},
                      PrintingOptions{"VerboseEmptyWithoutLineEnd", true, false, "", ""}),
    [](const auto& options) { return std::string(options.param.name); });

TEST_F(Dispatch, ARetainedMessageIsDroppedWhereTheyAreNotWanted) {
  cfg_->no_retain = true;
  CapturedOutput output;
  Deliver("a/topic", "a payload", true);
  EXPECT_EQ(output.Out(), "on_message_callback:\n");
  EXPECT_EQ(cfg_->last_message.topic, nullptr);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

TEST_F(Dispatch, AMessageThatIsNotRetainedIsTakenAllTheSame) {
  cfg_->no_retain = true;
  CapturedOutput output;
  Deliver("a/topic", "a payload");
  EXPECT_STREQ(cfg_->last_message.topic, "a/topic");
}

TEST_F(Dispatch, ARetainedMessageIsTakenByDefault) {
  CapturedOutput output;
  Deliver("a/topic", "a payload", true);
  EXPECT_STREQ(cfg_->last_message.topic, "a/topic");
}

TEST_F(Dispatch, AMessageOnAFilteredTopicIsDropped) {
  cfg_->filter_outs.reset(new OwnedText[2]);
  cfg_->filter_outs[0] = CopyText("other/#");
  cfg_->filter_outs[1] = CopyText("a/+");
  cfg_->filter_out_count = 2;
  CapturedOutput output;
  Deliver("a/topic", "dropped");
  EXPECT_EQ(cfg_->last_message.topic, nullptr);
  Deliver("other/topic/below", "dropped");
  EXPECT_EQ(cfg_->last_message.topic, nullptr);
  Deliver("a/topic/below", "taken");
  EXPECT_STREQ(cfg_->last_message.topic, "a/topic/below");
}

TEST_F(Dispatch, TheCopyIsThatOfTheLastMessage) {
  CapturedOutput output;
  Deliver("first", "one");
  Deliver("second", "another");
  EXPECT_STREQ(cfg_->last_message.topic, "second");
  EXPECT_STREQ(static_cast<const char*>(cfg_->last_message.payload), "another");
  EXPECT_EQ(cfg_->last_message.payloadlen, 7);
  EXPECT_EQ(cfg_->last_message.qos, 2);
  Deliver("third", "");
  EXPECT_STREQ(cfg_->last_message.topic, "third");
  EXPECT_EQ(cfg_->last_message.payload, nullptr);
  EXPECT_EQ(cfg_->last_message.payloadlen, 0);
}

TEST_F(Dispatch, ATopicThatMatchesNothingOpensTheSendGate) {
  CapturedOutput output;
  Deliver("a/topic", "a payload");
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 1);
}

TEST_F(Dispatch, WhileTheCustomerHasTheDatabasesTheTailIsLeftOutAndTheGateAlone) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 2;
  cfg_->quiet = true;
  CapturedOutput output;
  Deliver("a/topic", "a payload");
  EXPECT_EQ(output.Out(), std::string("a payload\n") + kRs232Test + kOut);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

TEST_F(Dispatch, ThePublishTimeIsTheLocalTime) {
  CapturedOutput output;
  Deliver("a/topic", "a payload");
  EXPECT_TRUE(
      std::regex_search(output.Out(), std::regex("\nPublish Time Stamp Start: [0-9]{4}-[0-9]{2}-[0-9]{2} "
                                                 "[0-9]{2}:[0-9]{2}:[0-9]{2}\n")));
}

TEST_F(Dispatch, ATopicMustBeEqualAndIsNoPattern) {
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[3].Assign("a/+");
  EXPECT_FALSE(IsOnTopic({"a/b", ""}, 3));
  EXPECT_FALSE(IsOnTopic({"a/", ""}, 3));
  EXPECT_FALSE(IsOnTopic({"A/+", ""}, 3));
  EXPECT_TRUE(IsOnTopic({"a/+", ""}, 3));
  EXPECT_FALSE(IsOnTopic({"a/+", ""}, 4));
  EXPECT_FALSE(IsOnTopic({"a/+", ""}, kNoTopic));
}

// A broker cuts nothing off: a configured topic that fills its room is compared as far as it goes.
TEST_F(Dispatch, ATopicThatFillsItsRoomDoesNotRunIntoTheNext) {
  const std::string full(100, 't');
  auto& topics = gMainState.DataCollectorMqttTopics.i8_SubscribeTopics;
  topics[3].characters.fill('t');
  topics[4].Assign("next");
  EXPECT_TRUE(IsOnTopic({full, ""}, 3));
  EXPECT_FALSE(IsOnTopic({full + "t", ""}, 3));
}

}  // namespace
}  // namespace datacollector
