// The harness itself, where a fault of it would make other tests pass or fail for no reason of the daemon.
#include <gtest/gtest.h>

#include <csignal>

#include "gateway/harness/Broker.h"
#include "gateway/harness/ChildProcess.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/Golden.h"
#include "gateway/harness/HttpSendApp.h"
#include "gateway/harness/Peer.h"

namespace datacollector::gateway {
namespace {

ChildProcess::Options Shell(const std::string& command) {
  return {.program = "/bin/sh", .arguments = {"sh", "-c", command}};
}

TEST(HarnessTest, AProcessEndsWithItsStatusAndItsWholeOutput) {
  ChildProcess process(Shell("echo one; echo two >&2; exit 3"));
  EXPECT_TRUE(ExitedWith(process.WaitForExit(), 3));
  EXPECT_EQ(process.Out().All(), "one\n");
  EXPECT_EQ(process.Err().All(), "two\n");
}

TEST(HarnessTest, AGrandchildThatKeepsTheOutputOpenDoesNotHoldUpTheEnd) {
  ChildProcess process(Shell("sleep 1000 & echo done"));
  EXPECT_TRUE(ExitedWith(process.WaitForExit(), 0));
  EXPECT_EQ(process.Out().All(), "done\n");
}

TEST(HarnessTest, WaitingForATextFindsItWhereverItsPiecesArrive) {
  ChildProcess process(
      Shell("printf 'ab'; read line </dev/null; printf 'cd\nab'; printf 'cd'; exec sleep 1000"));
  const auto first = process.Out().WaitFor("abcd");
  ASSERT_TRUE(first);
  EXPECT_EQ(*first, 4U);
  EXPECT_TRUE(process.Out().WaitForCount("abcd", 2));
  EXPECT_EQ(process.Out().Count("abcd"), 2U);
  EXPECT_FALSE(process.Out().WaitFor("abcd", *first + 2, std::chrono::milliseconds(1)));
  process.Signal(SIGTERM);
  EXPECT_FALSE(ExitedWith(process.WaitForExit(), 0));
}

TEST(HarnessTest, LastLinesAreTheLastOnes) {
  Transcript transcript;
  transcript.Append("one\ntwo\n\nfour");
  EXPECT_EQ(transcript.LastLines(2), (std::vector<std::string>{"", "four"}));
  EXPECT_EQ(transcript.LastLines(9), (std::vector<std::string>{"one", "two", "", "four"}));
}

TEST(HarnessTest, PeersExchangeMessagesAndComeBackAfterTheBroker) {
  Broker broker;
  broker.Start();
  Peer reader({"some/topic"});
  Peer writer;
  EXPECT_TRUE(writer.Publish("some/topic", "first"));
  EXPECT_TRUE(reader.WaitForMessages("some/topic", 1));
  broker.Kill();
  broker.Start();
  ASSERT_TRUE(reader.WaitForConnection(2));
  ASSERT_TRUE(writer.WaitForConnection(2));
  EXPECT_TRUE(writer.Publish("some/topic", "second"));
  EXPECT_TRUE(reader.WaitForMessages("some/topic", 2));
  EXPECT_EQ(reader.Received("some/topic"), (std::vector<std::string>{"first", "second"}));
}

TEST(HarnessTest, TheHttpSendAppConfirmsThePacketsThatItIsToldTo) {
  Broker broker;
  broker.Start();
  Peer daemon({FactsOf(AIO).statusTopic});
  HttpSendApp app([](const Packet& packet) { return packet.Number() == 2 ? 5 : -1; });
  const auto packet = [](int number) {
    return Fill(FactsOf(AIO).packet, {.number = number, .time = "2026-11-20 10:00:01"});
  };
  daemon.Publish(FactsOf(AIO).packetTopic, packet(1));
  daemon.Publish(FactsOf(AIO).packetTopic, packet(2));
  ASSERT_TRUE(daemon.WaitForMessages(FactsOf(AIO).statusTopic, 1));
  EXPECT_EQ(daemon.Received(FactsOf(AIO).statusTopic).front(),
            "AIO,2026-11-20 10:00:01,2,5,2026-11-20 10:00:05");
  EXPECT_EQ(app.WaitForPacket(AIO, 0).Number(), 1);
}

TEST(HarnessTest, TextsMustComeInTheirOrder) {
  EXPECT_TRUE(ComesInOrder("a\nnoise\nb 12\n", {"a\n", "b {}\n"}));
  EXPECT_FALSE(ComesInOrder("b 12\na\n", {"a\n", "b {}\n"}));
  EXPECT_FALSE(ComesInOrder("a\n", {"a"}));
  EXPECT_TRUE(Matches("FILE:a.cpp:LINE:7:x\n", "FILE:{}:LINE:{}:x\n"));
  EXPECT_FALSE(Matches("FILE:a.cpp:LINE:7:y\n", "FILE:{}:LINE:{}:x\n"));
}

TEST(HarnessTest, TextsMustComeAloneButForIdleOnes) {
  const IdleVocabulary idle("round 1\n");
  EXPECT_TRUE(ComesAlone("a\nround 22\nb\n", {"a\n", "b\n"}, idle));
  EXPECT_FALSE(ComesAlone("a\nsquare 22\nb\n", {"a\n", "b\n"}, idle));
  EXPECT_FALSE(ComesAlone("a\n", {"a\n", "b\n"}, idle));
  EXPECT_TRUE(ComesAlone("a\nc 3\nb\n", {"a\n", "b\n"}, idle, {"c {}\n"}));
}

TEST(HarnessTest, ATextWithoutALineEndIsOneOfItsOwn) {
  EXPECT_EQ(TextsOf("AIDBRecord number 3 publishingnext\n"),
            (Texts{"AIDBRecord number 3 publishing", "next\n"}));
  EXPECT_EQ(TextsOf("AIDBRecord number 3 publishing\n"), (Texts{"AIDBRecord number 3 publishing\n"}));
  EXPECT_EQ(TextsOf("\n\n *** PeriodicMinute[AIO]=1 ******** \n\n next\n"),
            (Texts{"\n", "\n", " *** PeriodicMinute[AIO]=1 ******** \n", "\n", "next\n"}));
}

TEST(HarnessTest, TheConfigurationTakesOverrides) {
  GatewayConfig config;
  EXPECT_EQ(config.SubscribedTopics(), 18);
  config.SubscribeTopic(18, "another");
  EXPECT_EQ(config.SubscribedTopics(), 19);
  config.Remove(kMqttFile, "SubscribeTopic18");
  EXPECT_EQ(config.SubscribedTopics(), 18);
}

TEST(HarnessTest, TheExampleRecordsHaveAValueForEachColumn) {
  for (const KindFacts& facts : kFacts) {
    EXPECT_EQ(Split(facts.columns, ',').size(), Split(facts.row, '|').size()) << facts.name;
  }
}

}  // namespace
}  // namespace datacollector::gateway
