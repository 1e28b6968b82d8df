#pragma once
#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "platform/os/mutex.h"

namespace vela {

// A replaceable function that is almost never set: callers pay one atomic load while it is not. Safe in any
// thread; a replaced function lives until its last running call ended. Constant-initialised.
template <class Function>
class HookSlot {
 public:
  // An empty function clears the slot.
  void Set(Function function) VELA_EXCLUDES(m_mutex) {
    const bool set = static_cast<bool>(function);
    std::shared_ptr<const Function> made;
    if (set) made = std::make_shared<const Function>(std::move(function));
    MutexLock lock(m_mutex);
    m_function.swap(made);
    m_set.store(set, std::memory_order_release);
  }

  // Null when nothing is set.
  std::shared_ptr<const Function> Get() VELA_EXCLUDES(m_mutex) {
    if (!m_set.load(std::memory_order_acquire)) [[likely]]
      return nullptr;
    MutexLock lock(m_mutex);
    return m_function;
  }

 private:
  std::atomic<bool> m_set{false};
  Mutex m_mutex;
  std::shared_ptr<const Function> m_function VELA_GUARDED_BY(m_mutex);
};

}  // namespace vela
