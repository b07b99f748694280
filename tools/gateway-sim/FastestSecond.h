// How many records were handed over in the second that saw the most of them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>

namespace datacollector::sim {

class FastestSecond {
 public:
  // A record was handed over. Times are seconds and don't run backwards.
  void Note(double now) {
    last_.push_back(now);
    while (last_.front() <= now - 1.0) {
      last_.pop_front();
    }
    most_ = std::max(most_, last_.size());
  }

  std::size_t Records() const { return most_; }

 private:
  std::deque<double> last_;  // second's
  std::size_t most_ = 0;
};

}  // namespace datacollector::sim
