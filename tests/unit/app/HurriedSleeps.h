// Sleeps that end at once: the code under test asks for whole seconds.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace datacollector {

// While it lives, a signal comes to the calling thread every millisecond and interrupts its sleeps, which are
// not resumed. What was slept is to be seen in the trace; each interruption is an error line.
class HurriedSleeps {
 public:
  HurriedSleeps() {
    struct sigaction action {};
    action.sa_handler = [](int /*signal*/) {};
    action.sa_flags = SA_RESTART;
    EXPECT_EQ(::sigaction(SIGUSR2, &action, &before_), 0);
    sigevent toThisThread{};
    toThisThread.sigev_notify = SIGEV_THREAD_ID;
    toThisThread.sigev_signo = SIGUSR2;
    toThisThread._sigev_un._tid = ::gettid();
    EXPECT_EQ(::timer_create(CLOCK_MONOTONIC, &toThisThread, &timer_), 0);
    const itimerspec everyMillisecond{{0, 1000000}, {0, 1000000}};
    EXPECT_EQ(::timer_settime(timer_, 0, &everyMillisecond, nullptr), 0);
  }
  ~HurriedSleeps() {
    ::timer_delete(timer_);
    ::sigaction(SIGUSR2, &before_, nullptr);
  }
  HurriedSleeps(const HurriedSleeps&) = delete;
  HurriedSleeps(HurriedSleeps&&) = delete;
  HurriedSleeps& operator=(const HurriedSleeps&) = delete;
  HurriedSleeps& operator=(HurriedSleeps&&) = delete;

 private:
  struct sigaction before_ {};
  timer_t timer_{};
};

}  // namespace datacollector
