#pragma once
#include <linux/futex.h>

#include <atomic>
#include <cstdint>
#include <utility>

// A mark in an address's lock file that shows senders, by a look into shared memory, that the process they
// are connected to still lives. The kernel takes it away when the thread that keeps it ends, however it ends.
// Whoever sees no mark must ask for the locks: they alone say who lives there. Internal.
namespace vela {

struct LifeMark {
  std::atomic<std::uint64_t> incarnation;  // that is ready for frames; 0: none
  std::atomic<std::uint32_t> keeper;       // its thread, as a robust futex
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "shared between processes");

// The mark of one lock file. Without a mapping, all of it does nothing.
class MappedLifeMark {
 public:
  MappedLifeMark() = default;
  // `writable`: empties the mark, which may be a predecessor's.
  MappedLifeMark(int file, bool writable);
  MappedLifeMark(MappedLifeMark&& other) noexcept : m_mark(std::exchange(other.m_mark, nullptr)) {}
  MappedLifeMark& operator=(MappedLifeMark&& other) noexcept {
    std::swap(m_mark, other.m_mark);
    return *this;
  }
  ~MappedLifeMark();

  LifeMark* Get() const { return m_mark; }  // null: no mapping
  void Set(std::uint64_t incarnation) {
    if (m_mark != nullptr) m_mark->incarnation.store(incarnation, std::memory_order_release);
  }
  // True only while `incarnation` lives.
  bool Shows(std::uint64_t incarnation) const {
    return m_mark != nullptr && incarnation != 0 &&
           m_mark->incarnation.load(std::memory_order_acquire) == incarnation &&
           (m_mark->keeper.load(std::memory_order_acquire) & FUTEX_TID_MASK) != 0;
  }

 private:
  LifeMark* m_mark = nullptr;
};

// Makes the calling thread the keeper of a mark (null: of none) until this object ends. The thread must not
// hold robust mutexes of its own meanwhile. The mark stays mapped longer.
class LifeMarkKeeper {
 public:
  explicit LifeMarkKeeper(LifeMark* mark);
  ~LifeMarkKeeper();
  LifeMarkKeeper(const LifeMarkKeeper&) = delete;
  LifeMarkKeeper& operator=(const LifeMarkKeeper&) = delete;

 private:
  LifeMark* m_mark;
  robust_list m_entry = {};      // its list holds the mark only
  robust_list_head m_list = {};  // what the kernel reads when the thread ends
  robust_list_head* m_previous = nullptr;
};

}  // namespace vela
