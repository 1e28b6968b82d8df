#include "platform/bus/life_mark.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vela {
namespace {

bool HasRoom(int file) {
  struct stat facts;
  return fstat(file, &facts) == 0 && facts.st_size >= static_cast<off_t>(sizeof(LifeMark));
}

// Written, not only made longer: a page for which the disk has no room would end the process when it is used.
bool MakeEmpty(int file) {
  const char empty[sizeof(LifeMark)] = {};
  return pwrite(file, empty, sizeof empty, 0) == static_cast<ssize_t>(sizeof empty);
}

bool SetRobustList(robust_list_head* list) {
  return syscall(SYS_set_robust_list, list, sizeof *list) == 0;
}

}  // namespace

MappedLifeMark::MappedLifeMark(int file, bool writable) {
  if (!(writable ? MakeEmpty(file) : HasRoom(file))) return;
  const int access = writable ? PROT_READ | PROT_WRITE : PROT_READ;
  void* memory = mmap(nullptr, sizeof(LifeMark), access, MAP_SHARED, file, 0);
  if (memory != MAP_FAILED) m_mark = static_cast<LifeMark*>(memory);
}

MappedLifeMark::~MappedLifeMark() {
  if (m_mark != nullptr) munmap(m_mark, sizeof(LifeMark));
}

LifeMarkKeeper::LifeMarkKeeper(LifeMark* mark) : m_mark(mark) {
  std::size_t size = 0;
  if (m_mark == nullptr || syscall(SYS_get_robust_list, 0, &m_previous, &size) != 0) {
    m_mark = nullptr;
    return;
  }
  // The kernel finds the futex at a fixed distance from the list's entry.
  m_entry.next = &m_list.list;
  m_list.list.next = &m_entry;
  m_list.futex_offset = reinterpret_cast<char*>(&m_mark->keeper) - reinterpret_cast<char*>(&m_entry);
  if (SetRobustList(&m_list)) {
    m_mark->keeper.store(static_cast<std::uint32_t>(gettid()), std::memory_order_release);
  } else {
    m_mark = nullptr;
  }
}

LifeMarkKeeper::~LifeMarkKeeper() {
  if (m_mark == nullptr) return;
  m_mark->keeper.store(0, std::memory_order_release);
  SetRobustList(m_previous);
}

}  // namespace vela
