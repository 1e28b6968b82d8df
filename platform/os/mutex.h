#pragma once
#include <condition_variable>
#include <mutex>

#include "platform/os/thread_annotations.h"

namespace vela {

// A plain, non-recursive mutex whose use clang can check.
class VELA_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() VELA_ACQUIRE() { m_mutex.lock(); }
  bool try_lock() VELA_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }
  void unlock() VELA_RELEASE() { m_mutex.unlock(); }

 private:
  friend class CondVar;
  std::mutex m_mutex;
};

// Holds the mutex from construction to destruction.
class VELA_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VELA_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~MutexLock() VELA_RELEASE() { m_mutex.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& m_mutex;
};

// Waits release the mutex and take it again; test the condition in a loop.
class CondVar {
 public:
  void Wait(Mutex& mutex) VELA_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
    m_cond.wait(lock);
    lock.release();
  }
  // False when the deadline passed without a notification.
  template <class TimePoint>
  bool WaitUntil(Mutex& mutex, const TimePoint& deadline) VELA_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
    const bool notified = m_cond.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    return notified;
  }
  void NotifyOne() { m_cond.notify_one(); }
  void NotifyAll() { m_cond.notify_all(); }

 private:
  std::condition_variable m_cond;
};

}  // namespace vela
