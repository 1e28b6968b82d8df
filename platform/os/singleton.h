#pragma once
#include <atomic>

#include "platform/export.h"

namespace vela {

// Takes the process-wide static-object lock; false when it cannot be taken (process end).
VELA_EXPORT bool LockStaticObjects();
VELA_EXPORT void UnlockStaticObjects();

// The slot behind a service's Instance() and Destroy(): made on first use, deleted once.
// Constant-initialised, so it works during static initialisation of other files. T is the abstract class,
// Impl what is made.
template <class T>
class SingletonSlot {
 public:
  // Null only when the static-object lock cannot be taken. Throws what the constructor of Impl throws.
  template <class Impl>
  T* Instance() {
    if (T* instance = m_instance.load(std::memory_order_acquire)) return instance;
    if (!LockStaticObjects()) return nullptr;
    const Unlocking unlocking;
    T* instance = m_instance.load(std::memory_order_relaxed);
    if (instance == nullptr) {
      instance = new Impl;
      m_instance.store(instance, std::memory_order_release);
    }
    return instance;
  }

  // The next Instance makes another one. Nobody may use the object any more.
  void Destroy() {
    if (!LockStaticObjects()) return;
    T* instance = m_instance.exchange(nullptr, std::memory_order_acq_rel);
    UnlockStaticObjects();
    delete instance;
  }

  // The object if it was made, without making it.
  T* Peek() const { return m_instance.load(std::memory_order_acquire); }

 private:
  struct Unlocking {
    ~Unlocking() { UnlockStaticObjects(); }
  };

  std::atomic<T*> m_instance{nullptr};
};

}  // namespace vela
