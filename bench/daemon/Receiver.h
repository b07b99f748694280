// The receiver of a forwarder's packets: confirms each after a set time, and remembers when it came.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gateway/harness/Peer.h"
#include "ground/KindShape.h"

namespace datacollector::bench {

using Clock = std::chrono::steady_clock;

class Receiver {
 public:
  struct Arrival {
    SourceKind kind;
    int request;
    Clock::time_point time;
  };

  // Packets come on "<prefix>/<kind>/Record", confirmations go to "<prefix>/<kind>/Status".
  Receiver(std::string prefix, std::chrono::milliseconds answerTime);
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver(Receiver&&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  Receiver& operator=(Receiver&&) = delete;

  // Waits until this many packets have come in all; ends the benchmark when none comes for a minute.
  void WaitFor(std::size_t count);

  // In the order of their arrival.
  std::vector<Arrival> Arrivals() const;

 private:
  struct Answer {
    Clock::time_point due;
    std::string topic;
    std::string text;
  };

  std::string TopicOf(SourceKind kind, const char* end) const;
  std::vector<std::string> PacketTopics() const;
  void Take(const gateway::Message& packet);
  void AnswerWhenDue(const std::stop_token& end);

  const std::string prefix_;
  const std::chrono::milliseconds answerTime_;
  mutable std::mutex mutex_;  // protects the three below
  std::condition_variable_any changed_;
  std::vector<Arrival> arrivals_;
  std::deque<Answer> answers_;
  gateway::Peer peer_;
  std::jthread answering_;
};

}  // namespace datacollector::bench
