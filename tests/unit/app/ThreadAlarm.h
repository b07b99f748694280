// A signal that comes to the calling thread after a while.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace datacollector {

// `handler` runs on the thread that made the alarm, at whatever place it has got to. One alarm at a time.
class ThreadAlarm {
 public:
  explicit ThreadAlarm(void (*handler)(int signal)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    EXPECT_EQ(::sigaction(SIGUSR2, &action, &before_), 0);
    sigevent toThisThread{};
    toThisThread.sigev_notify = SIGEV_THREAD_ID;
    toThisThread.sigev_signo = SIGUSR2;
    toThisThread._sigev_un._tid = ::gettid();
    EXPECT_EQ(::timer_create(CLOCK_MONOTONIC, &toThisThread, &timer_), 0);
  }
  ~ThreadAlarm() {
    ::timer_delete(timer_);
    ::sigaction(SIGUSR2, &before_, nullptr);
  }
  ThreadAlarm(const ThreadAlarm&) = delete;
  ThreadAlarm(ThreadAlarm&&) = delete;
  ThreadAlarm& operator=(const ThreadAlarm&) = delete;
  ThreadAlarm& operator=(ThreadAlarm&&) = delete;

  // `again`: 0 for once. Both in nanoseconds, below a second.
  void In(long first, long again) const {
    const itimerspec times{{0, again}, {0, first}};
    EXPECT_EQ(::timer_settime(timer_, 0, &times, nullptr), 0);
  }

 private:
  struct sigaction before_ {};
  timer_t timer_{};
};

}  // namespace datacollector
