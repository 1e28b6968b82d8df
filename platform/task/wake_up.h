#pragma once
#include <semaphore.h>
#include <time.h>

#include <cerrno>
#include <chrono>

namespace vela {

// Wakes one thread that waits without a lock. A call before the wait is kept, so a waiter may find one left
// over: test the condition in a loop. Unlike after a condition variable, the mutex that the woken thread
// takes next is not marked as contended, which saves a system call for each wake-up.
class WakeUp {
 public:
  WakeUp() { sem_init(&m_calls, 0, 0); }
  ~WakeUp() { sem_destroy(&m_calls); }
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  void Call() { sem_post(&m_calls); }
  void Wait() {
    while (sem_wait(&m_calls) != 0 && errno == EINTR) {
    }
  }
  void WaitUntil(std::chrono::steady_clock::time_point deadline) {
    const auto since = deadline.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const timespec time{seconds.count(), std::chrono::nanoseconds(since - seconds).count()};
    while (sem_clockwait(&m_calls, CLOCK_MONOTONIC, &time) != 0 && errno == EINTR) {
    }
  }

 private:
  sem_t m_calls;
};

}  // namespace vela
