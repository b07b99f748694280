#include "daemon/Receiver.h"

#include <utility>

#include "Sqlite.h"
#include "gateway/harness/HttpSendApp.h"
#include "gateway/harness/Kinds.h"
#include "ground/KindShape.h"

namespace datacollector::bench {
namespace {

using gateway::HttpSendApp;

constexpr int kDelivered = 1;

}  // namespace

Receiver::Receiver(std::string prefix, std::chrono::milliseconds answerTime)
    : prefix_(std::move(prefix)),
      answerTime_(answerTime),
      peer_(PacketTopics(), [this](const gateway::Message& packet) { Take(packet); }),
      answering_([this](const std::stop_token& end) { AnswerWhenDue(end); }) {}

Receiver::~Receiver() = default;

std::string Receiver::TopicOf(SourceKind kind, const char* end) const {
  return prefix_ + "/" + kKindWord[kind] + end;
}

std::vector<std::string> Receiver::PacketTopics() const {
  std::vector<std::string> topics;
  for (const SourceKind kind : kAllKinds) {
    topics.push_back(TopicOf(kind, "/Record"));
  }
  return topics;
}

void Receiver::Take(const gateway::Message& message) {
  for (const SourceKind kind : kAllKinds) {
    if (message.topic != TopicOf(kind, "/Record")) {
      continue;
    }
    const gateway::Packet packet{kind, message.payload, gateway::Split(message.payload, ',')};
    const Clock::time_point now = Clock::now();
    std::string text = HttpSendApp::Confirmation(packet, kDelivered);
    if (answerTime_.count() == 0) {
      peer_.PublishLater(TopicOf(kind, "/Status"), text);
    }
    const std::lock_guard lock(mutex_);
    arrivals_.push_back({kind, packet.Request(), now});
    if (answerTime_.count() != 0) {
      answers_.push_back({now + answerTime_, TopicOf(kind, "/Status"), std::move(text)});
    }
    changed_.notify_all();
  }
}

void Receiver::AnswerWhenDue(const std::stop_token& end) {
  std::unique_lock lock(mutex_);
  while (changed_.wait(lock, end, [this] { return !answers_.empty(); })) {
    const Answer answer = std::move(answers_.front());
    answers_.pop_front();
    lock.unlock();
    std::this_thread::sleep_until(answer.due);
    peer_.PublishLater(answer.topic, answer.text);
    lock.lock();
  }
}

void Receiver::WaitFor(std::size_t count) {
  std::unique_lock lock(mutex_);
  while (arrivals_.size() < count) {
    const std::size_t before = arrivals_.size();
    if (!changed_.wait_for(lock, std::chrono::minutes(1), [&] { return arrivals_.size() > before; })) {
      Fail("no packet for a minute, " + std::to_string(before) + " of " + std::to_string(count) +
           " have come");
    }
  }
}

std::vector<Receiver::Arrival> Receiver::Arrivals() const {
  const std::lock_guard lock(mutex_);
  return arrivals_;
}

}  // namespace datacollector::bench
