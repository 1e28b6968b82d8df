#pragma once
#include <pthread.h>

namespace vela {

// The thread that lets the timers of all tasks expire; one at a time in a process. Timers that were set
// while none ran expire when one starts.
class TimerThread {
 public:
  TimerThread();  // throws std::bad_alloc or std::system_error
  ~TimerThread();
  TimerThread(const TimerThread&) = delete;
  TimerThread& operator=(const TimerThread&) = delete;

 private:
  static void* Main(void*);
  pthread_t m_thread{};
};

}  // namespace vela
