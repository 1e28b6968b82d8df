#include "util/basicutil/translog.h"

#include <map>
#include <new>
#include <string_view>
#include <utility>

#include "platform/os/mutex.h"
#include "platform/os/os_types.h"
#include "platform/os/shared_mutex.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "translog";

using BufferKey = std::pair<std::string, std::uint32_t>;

// By text, then by number; finds without a copy of the text.
struct BufferKeyLess {
  using is_transparent = void;
  using View = std::pair<std::string_view, std::uint32_t>;
  bool operator()(const View& left, const View& right) const { return left < right; }
};

using BufferMap = std::map<BufferKey, TETransactionBuffer*, BufferKeyLess>;

void DeleteBuffers(BufferMap& buffers) {
  for (const auto& [key, buffer] : buffers) delete buffer;
  buffers.clear();
}

void ReportNoMemory() {
  WriteException("Transaction log: no memory\n");
}

// Misuse may take a count past its end; it wraps.
std::int32_t Sum(std::int32_t left, std::int32_t right) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(left) + static_cast<std::uint32_t>(right));
}

}  // namespace

struct TransactionCounts {
  std::int32_t m_nRefCount = 1;
  std::int32_t m_nRefCountEx = 0;
};

class TransactionState {
 public:
  TransactionState() = default;
  TransactionState(const TransactionState&) = delete;
  TransactionState& operator=(const TransactionState&) = delete;
  ~TransactionState() { DeleteBuffers(m_TransBufMap); }

  // Adds to the counts and gives the new ones.
  TransactionCounts Count(std::int32_t references, std::int32_t added) {
    const vela::MutexLock lock(m_countMutex);
    m_counts.m_nRefCount = Sum(m_counts.m_nRefCount, references);
    m_counts.m_nRefCountEx = Sum(m_counts.m_nRefCountEx, added);
    return m_counts;
  }
  TransactionCounts Counts() { return Count(0, 0); }
  // Takes one added reference back if there is one; the counts before.
  TransactionCounts Release() {
    const vela::MutexLock lock(m_countMutex);
    const TransactionCounts before = m_counts;
    if (before.m_nRefCountEx > 0) m_counts = {Sum(before.m_nRefCount, -1), before.m_nRefCountEx - 1};
    return before;
  }

  // Whether the key was free.
  bool Set(const std::string& name, std::uint32_t id, TETransactionBuffer* buffer) {
    const vela::WriteLock lock(m_bufferMutex);
    return m_TransBufMap.insert_or_assign(BufferKey(name, id), buffer).second;
  }
  TETransactionBuffer* Find(const std::string& name, std::uint32_t id) {
    const vela::ReadLock lock(m_bufferMutex);
    const auto it = m_TransBufMap.find(BufferKeyLess::View(name, id));
    return it != m_TransBufMap.end() ? it->second : nullptr;
  }
  TETransactionBuffer* Take(const std::string& name, std::uint32_t id) {
    const vela::WriteLock lock(m_bufferMutex);
    const auto it = m_TransBufMap.find(BufferKeyLess::View(name, id));
    if (it == m_TransBufMap.end()) return nullptr;
    TETransactionBuffer* buffer = it->second;
    m_TransBufMap.erase(it);
    return buffer;
  }
  std::size_t BufferCount() {
    const vela::ReadLock lock(m_bufferMutex);
    return m_TransBufMap.size();
  }

  // The end of a state, once it is out of the registry.
  void End() {
    const TransactionCounts counts = Counts();
    Check(counts.m_nRefCount <= 0, UNIT, "m_nRefCount <= 0");
    Check(counts.m_nRefCountEx <= 0, UNIT, "m_nRefCountEx <= 0");
    BufferMap buffers;
    {
      const vela::WriteLock lock(m_bufferMutex);
      buffers.swap(m_TransBufMap);
    }
    DeleteBuffers(buffers);
  }

  std::uint32_t m_handle = 0;  // set before others see the state

 private:
  vela::SharedMutex m_bufferMutex;
  BufferMap m_TransBufMap VELA_GUARDED_BY(m_bufferMutex);
  vela::Mutex m_countMutex;
  TransactionCounts m_counts VELA_GUARDED_BY(m_countMutex);
};

namespace {

using States = std::map<std::uint32_t, std::shared_ptr<TransactionState>>;  // by handle

class Registry {
 public:
  void Add(const std::shared_ptr<TransactionState>& state) {
    const vela::WriteLock lock(m_mutex);
    while (m_states.contains(m_next)) ++m_next;
    state->m_handle = m_next;
    m_states.emplace(m_next, state);
    ++m_next;
  }

  std::shared_ptr<TransactionState> Attach(std::uint32_t handle) {
    const vela::ReadLock lock(m_mutex);
    const auto it = m_states.find(handle);
    if (it == m_states.end()) return nullptr;
    it->second->Count(1, 0);
    return it->second;
  }

  // The counts after it; `ended` when it was the last: the state is out of the registry.
  TransactionCounts Detach(TransactionState& state, bool& ended) {
    const vela::WriteLock lock(m_mutex);
    const TransactionCounts counts = state.Count(-1, 0);
    const auto it = m_states.find(state.m_handle);
    ended = counts.m_nRefCount < 1 && it != m_states.end() && it->second.get() == &state;
    if (ended) m_states.erase(it);
    return counts;
  }

  TransactionCounts Release(TransactionState& state) {
    const vela::WriteLock lock(m_mutex);
    return state.Release();
  }

  States TakeAll() {
    const vela::WriteLock lock(m_mutex);
    return std::exchange(m_states, {});
  }

  States All() {
    const vela::ReadLock lock(m_mutex);
    return m_states;
  }

 private:
  vela::SharedMutex m_mutex;
  States m_states VELA_GUARDED_BY(m_mutex);
  std::uint32_t m_next VELA_GUARDED_BY(m_mutex) = 1;
};

// Never destroyed, as logs may be static objects, and made without memory, as attaching cannot fail for it.
Registry& TheRegistry() {
  alignas(Registry) static unsigned char storage[sizeof(Registry)];
  static Registry& registry = *new (storage) Registry;
  return registry;
}

}  // namespace

TETransactionBuffer::~TETransactionBuffer() = default;

TETransactionLog::TETransactionLog() {
  try {
    auto state = std::make_shared<TransactionState>();
    TheRegistry().Add(state);
    m_state = std::move(state);
  } catch (const std::bad_alloc&) {
    ReportNoMemory();
  }
}

TETransactionLog::TETransactionLog(unsigned long handle)
    : m_state(TheRegistry().Attach(vela::Cut32(handle))) {}

TETransactionLog::~TETransactionLog() {
  if (m_state == nullptr) return;
  bool ended = false;
  const TransactionCounts counts = TheRegistry().Detach(*m_state, ended);
  Check(counts.m_nRefCount >= 0, UNIT, "m_nRefCount > 0");  // before it was counted down
  if (ended) m_state->End();
}

unsigned long TETransactionLog::GetHandle() const {
  if (!Check(m_state != nullptr, UNIT, "false")) return 0;
  return m_state->m_handle;
}

int TETransactionLog::AddRef(int n) {
  if (m_state == nullptr) return 0;
  Check(n > 0, UNIT, "n > 0");
  return m_state->Count(n, n).m_nRefCountEx;
}

int TETransactionLog::Release() {
  if (m_state == nullptr) return 0;
  const TransactionCounts before = TheRegistry().Release(*m_state);
  const bool added = Check(before.m_nRefCountEx > 0, UNIT, "m_nRefCountEx > 0");
  Check(added && before.m_nRefCount > before.m_nRefCountEx, UNIT, "m_nRefCount > m_nRefCountEx");
  const int ret = added ? before.m_nRefCountEx - 1 : before.m_nRefCountEx;
  Check(ret >= 0, UNIT, "ret >= 0");
  return ret;
}

void TETransactionLog::AddBuffer(const std::string& name, unsigned long id, TETransactionBuffer* buffer) {
  if (m_state == nullptr) return;
  Check(buffer != nullptr, UNIT, "0 != pBuffer");
  try {
    Check(m_state->Set(name, vela::Cut32(id), buffer), UNIT,
          "m_TransBufMap.find(key) == m_TransBufMap.end()");
  } catch (const std::bad_alloc&) {
    ReportNoMemory();
  }
}

TETransactionBuffer* TETransactionLog::GetBuffer(const std::string& name, unsigned long id) {
  return m_state != nullptr ? m_state->Find(name, vela::Cut32(id)) : nullptr;
}

TETransactionBuffer* TETransactionLog::RemoveBuffer(const std::string& name, unsigned long id) {
  return m_state != nullptr ? m_state->Take(name, vela::Cut32(id)) : nullptr;
}

void TETransactionLog::ClearAllLog() {
  for (const auto& [handle, state] : TheRegistry().TakeAll()) state->End();
}

std::vector<TETransactionLogInfo> GetTransactionLogs() {
  std::vector<TETransactionLogInfo> logs;
  try {
    for (const auto& [handle, state] : TheRegistry().All()) {
      const TransactionCounts counts = state->Counts();
      logs.push_back({handle, counts.m_nRefCount, counts.m_nRefCountEx, state->BufferCount()});
    }
  } catch (const std::bad_alloc&) {
    ReportNoMemory();
    logs.clear();
  }
  return logs;
}

}  // namespace NSTE_util
