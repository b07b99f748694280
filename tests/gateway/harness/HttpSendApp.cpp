#include "gateway/harness/HttpSendApp.h"

#include <gtest/gtest.h>

#include <utility>

namespace datacollector::gateway {
namespace {

std::vector<std::string> PacketTopics() {
  std::vector<std::string> topics;
  topics.reserve(kFacts.size());
  for (const KindFacts& facts : kFacts) {
    topics.emplace_back(facts.packetTopic);
  }
  return topics;
}

Packet PacketFrom(SourceKind kind, const std::string& text) {
  Packet packet{kind, text, Split(text, ',')};
  EXPECT_GE(packet.values.size(), 9U) << text;
  return packet;
}

}  // namespace

HttpSendApp::HttpSendApp(Answer answer)
    : answer_(std::move(answer)),
      peer_(PacketTopics(), [this](const Message& message) { Handle(message); }) {}

void HttpSendApp::Set(Answer answer) {
  const std::lock_guard lock(mutex_);
  answer_ = std::move(answer);
}

void HttpSendApp::Handle(const Message& message) {
  for (const SourceKind kind : kAllKinds) {
    if (message.topic == FactsOf(kind).packetTopic) {
      const Packet packet = PacketFrom(kind, message.payload);
      int status = 0;
      {
        const std::lock_guard lock(mutex_);
        status = answer_(packet);
      }
      if (status >= 0) {
        Confirm(packet, status);
      }
    }
  }
}

void HttpSendApp::Confirm(const Packet& packet, int status) {
  peer_.PublishLater(FactsOf(packet.kind).statusTopic, Confirmation(packet, status));
}

std::string HttpSendApp::Confirmation(const Packet& packet, int status) {
  return std::string(kKindIndexWord.at(packet.kind)) + "," + packet.ReadTime() + "," + packet.values.at(3) +
         "," + std::to_string(status) + "," + kDeliveryTime;
}

std::vector<Packet> HttpSendApp::Packets(SourceKind kind) const {
  std::vector<Packet> packets;
  for (const std::string& text : peer_.Received(FactsOf(kind).packetTopic)) {
    packets.push_back(PacketFrom(kind, text));
  }
  return packets;
}

bool HttpSendApp::WaitForPackets(SourceKind kind, std::size_t count,
                                 std::chrono::milliseconds patience) const {
  return peer_.WaitForMessages(FactsOf(kind).packetTopic, count, patience);
}

Packet HttpSendApp::WaitForPacket(SourceKind kind, std::size_t index) const {
  if (!WaitForPackets(kind, index + 1)) {
    ADD_FAILURE() << FactsOf(kind).name << ": packet " << index << " has not come";
    return {kind, "", std::vector<std::string>(9, "0")};
  }
  return Packets(kind).at(index);
}

}  // namespace datacollector::gateway
