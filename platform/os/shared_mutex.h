#pragma once
#include <shared_mutex>

#include "platform/os/thread_annotations.h"

namespace vela {

// A plain reader-writer mutex whose use clang can check: many readers, or one writer. Not recursive.
class VELA_CAPABILITY("mutex") SharedMutex {
 public:
  SharedMutex() = default;
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  void lock() VELA_ACQUIRE() { m_mutex.lock(); }
  void unlock() VELA_RELEASE() { m_mutex.unlock(); }
  void lock_shared() VELA_ANNOTATE(acquire_shared_capability()) { m_mutex.lock_shared(); }
  void unlock_shared() VELA_ANNOTATE(release_shared_capability()) { m_mutex.unlock_shared(); }

 private:
  std::shared_mutex m_mutex;
};

// Each holds the mutex from construction to destruction: one as the writer, one as a reader.
class VELA_SCOPED_CAPABILITY WriteLock {
 public:
  explicit WriteLock(SharedMutex& mutex) VELA_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~WriteLock() VELA_RELEASE() { m_mutex.unlock(); }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

 private:
  SharedMutex& m_mutex;
};

// Holds the mutex shared for its scope.
class VELA_SCOPED_CAPABILITY ReadLock {
 public:
  explicit ReadLock(SharedMutex& mutex) VELA_ANNOTATE(acquire_shared_capability(mutex)) : m_mutex(mutex) {
    m_mutex.lock_shared();
  }
  ~ReadLock() VELA_RELEASE() { m_mutex.unlock_shared(); }
  ReadLock(const ReadLock&) = delete;
  ReadLock& operator=(const ReadLock&) = delete;

 private:
  SharedMutex& m_mutex;
};

}  // namespace vela
