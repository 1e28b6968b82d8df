#include "util/basicutil/timelog.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <utility>

#include "platform/os/mutex.h"
#include "platform/os/os_types.h"
#include "platform/os/singleton.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/timelog_internal.h"

namespace NSTE_util {

constinit std::atomic<std::uint32_t (*)()> g_timeLogTicks{&VelaGetTickCount};

namespace {

std::uint32_t GetTickCount() {
  return g_timeLogTicks.load(std::memory_order_relaxed)();
}

void ReportNoMemory() {
  WriteException("Time log: no memory\n");
}

// A measurement never harms what it measures.
template <class Work>
void WithMemory(const Work& work) noexcept {
  try {
    work();
  } catch (...) {
    ReportNoMemory();
  }
}

std::string CopyOrEmpty(const std::string& text) noexcept {
  std::string copy;
  WithMemory([&] { copy = text; });
  return copy;
}

void AppendTiming(std::string& out, const std::string& name, std::uint32_t ms) {
  out += name;
  out += " used time(ms):\t";
  out += std::to_string(static_cast<std::int32_t>(ms));
  out += '\n';
}

void WriteTiming(TETimeLog& log, const std::string& name, std::uint32_t ms) {
  WithMemory([&] {
    std::string line;
    AppendTiming(line, name, ms);
    log.WriteLine(line);
  });
}

std::string SumTitle(long type) {
  switch (type) {
    case TIME_NE_OPER:
      return "SUM NE operation";
    case TIME_EMS_OPER:
      return "SUM EMS operation";
    case TIME_NMS_OPER:
      return "SUM NMS operation";
    default:
      return "SUM operation type " + std::to_string(type) + ' ';
  }
}

struct Step {
  std::uint32_t ms;
  std::string text;
};

struct Sum {
  std::uint32_t ms = 0;
  std::string texts;
};

struct ThreadLog {
  std::string name;
  vela::WallTime since;
  std::uint32_t start = 0;
  unsigned depth = 0;
  std::map<long, Sum> sums = {};  // by operation type
  std::vector<Step> steps = {};   // in order of arrival
};

struct PendingOper {
  std::uint32_t threadId = 0;
  long type = 0;
  std::uint32_t firstBegin = 0;
  std::string text;
  std::uint32_t count = 0;  // begins that have not ended
  std::uint32_t ms = 0;     // every begin subtracts its tick count, every end adds its own
};

class TETimeLogImpl final : public TETimeLog {
 public:
  void BeginNEOper(unsigned long operCode, long type, const std::string& text) override;
  void EndNEOper(unsigned long operCode) override;
  void AddTime(long type, unsigned long ms, const std::string& text) override;
  void WriteLine(const std::string& text) override;
  void BeginThreadLog() override { Open({}); }
  void EndThreadLog() override;
  void PrintSummary() override;

  void Open(const std::string& name);
  std::vector<TEOpenTimeLog> Snapshot();

 private:
  void AddTo(std::uint32_t threadId, long type, std::uint32_t ms, const std::string& text)
      VELA_REQUIRES(m_mutex);
  void Print(std::uint32_t threadId, const ThreadLog& log) VELA_REQUIRES(m_mutex);
  std::string Summary(std::uint32_t threadId, const ThreadLog& log) VELA_REQUIRES(m_mutex);

  using ThreadLogs = std::map<std::uint32_t, ThreadLog>;      // by thread id
  using PendingOpers = std::map<std::uint32_t, PendingOper>;  // by operation code

  vela::Mutex m_mutex;
  ThreadLogs m_logs VELA_GUARDED_BY(m_mutex);
  PendingOpers m_pending VELA_GUARDED_BY(m_mutex);
  TEDebugInterface* const m_out = GetDebugInterface("timelog");
};

void TETimeLogImpl::Open(const std::string& name) {
  WithMemory([&] {
    const std::uint32_t threadId = GetCurrentThreadId();
    const vela::MutexLock lock(m_mutex);
    auto it = m_logs.find(threadId);
    if (it == m_logs.end()) it = m_logs.emplace(threadId, ThreadLog{name, vela::Now(), GetTickCount()}).first;
    ++it->second.depth;
  });
}

void TETimeLogImpl::EndThreadLog() {
  const std::uint32_t threadId = GetCurrentThreadId();
  ThreadLogs::node_type closed;  // freed behind the lock
  const vela::MutexLock lock(m_mutex);
  const auto it = m_logs.find(threadId);
  if (it == m_logs.end() || --it->second.depth > 0) return;
  Print(threadId, it->second);
  closed = m_logs.extract(it);
  std::erase_if(m_pending, [threadId](const auto& each) { return each.second.threadId == threadId; });
}

void TETimeLogImpl::AddTo(std::uint32_t threadId, long type, std::uint32_t ms, const std::string& text) {
  const auto it = m_logs.find(threadId);
  if (it == m_logs.end()) return;
  if (type == TIME_STEP) {
    it->second.steps.push_back({ms, text});
    return;
  }
  Sum& sum = it->second.sums[type];
  sum.ms += ms;
  sum.texts += text;
}

void TETimeLogImpl::AddTime(long type, unsigned long ms, const std::string& text) {
  WithMemory([&] {
    const std::uint32_t threadId = GetCurrentThreadId();
    const vela::MutexLock lock(m_mutex);
    AddTo(threadId, type, vela::Cut32(ms), text);
  });
}

// The tick count is read under the lock, so that no end is earlier than its begin.
void TETimeLogImpl::BeginNEOper(unsigned long operCode, long type, const std::string& text) {
  WithMemory([&] {
    const std::uint32_t threadId = GetCurrentThreadId();
    const vela::MutexLock lock(m_mutex);
    if (!m_logs.contains(threadId)) return;
    const std::uint32_t now = GetTickCount();
    const auto it = m_pending.find(vela::Cut32(operCode));
    if (it == m_pending.end()) {
      m_pending.emplace(vela::Cut32(operCode), PendingOper{threadId, type, now, text, 1, 0 - now});
      return;
    }
    ++it->second.count;
    it->second.ms -= now;
  });
}

void TETimeLogImpl::EndNEOper(unsigned long operCode) {
  WithMemory([&] {
    const vela::MutexLock lock(m_mutex);
    const auto it = m_pending.find(vela::Cut32(operCode));
    if (it == m_pending.end()) return;
    it->second.ms += GetTickCount();
    if (--it->second.count > 0) return;
    const PendingOper ended = std::move(it->second);
    m_pending.erase(it);
    AddTo(ended.threadId, ended.type, ended.ms, ended.text);
  });
}

void TETimeLogImpl::WriteLine(const std::string& text) {
  if (m_out != nullptr) m_out->Print(3, text.c_str());
}

void TETimeLogImpl::PrintSummary() {
  const std::uint32_t threadId = GetCurrentThreadId();
  const vela::MutexLock lock(m_mutex);
  const auto it = m_logs.find(threadId);
  if (it != m_logs.end()) Print(threadId, it->second);
}

void TETimeLogImpl::Print(std::uint32_t threadId, const ThreadLog& log) {
  if (log.steps.empty() && log.sums.empty() && m_pending.empty()) return;
  try {
    WriteLine(Summary(threadId, log));
  } catch (...) {
    ReportNoMemory();
  }
}

std::string TETimeLogImpl::Summary(std::uint32_t threadId, const ThreadLog& log) {
  std::string out;
  for (const Step& step : log.steps) {
    AppendTiming(out, step.text, step.ms);
    out += '\n';
  }
  for (const auto& [type, sum] : log.sums) {
    out += SumTitle(type);
    AppendTiming(out, sum.texts, sum.ms);
    out += '\n';
  }
  for (const auto& [operCode, oper] : m_pending) {
    if (oper.threadId != threadId) continue;
    char lost[256];
    std::snprintf(lost, sizeof(lost), "\tNE operation 0x%x not ended! Lost %dcommand(s)\n", operCode,
                  static_cast<std::int32_t>(oper.count));
    out += oper.text;
    out += lost;
  }
  return out;
}

std::vector<TEOpenTimeLog> TETimeLogImpl::Snapshot() {
  std::vector<TEOpenTimeLog> open;
  WithMemory([&] {
    constexpr std::size_t mostBytes = 16384;
    const vela::MutexLock lock(m_mutex);
    const std::uint32_t now = GetTickCount();
    for (const auto& [threadId, log] : m_logs)
      open.push_back({threadId,
                      log.name,
                      log.since,
                      now - log.start,
                      log.depth,
                      {},
                      Summary(threadId, log).substr(0, mostBytes)});
    for (const auto& [operCode, oper] : m_pending) {
      const auto owner = std::lower_bound(open.begin(), open.end(), oper.threadId,
                                          [](const auto& each, auto id) { return each.m_nThreadID < id; });
      owner->m_pending.push_back({operCode, oper.type, oper.text, oper.count, now - oper.firstBegin});
    }
  });
  return open;
}

vela::SingletonSlot<TETimeLog> g_slot;

}  // namespace

TETimeLog::~TETimeLog() = default;

TETimeLog* TETimeLog::Instance() {
  TETimeLog* log = nullptr;
  WithMemory([&] { log = g_slot.Instance<TETimeLogImpl>(); });
  return log;
}

void TETimeLog::Destroy() {
  g_slot.Destroy();
}

std::vector<TEOpenTimeLog> TETimeLog::OpenLogs() {
  auto* log = static_cast<TETimeLogImpl*>(g_slot.Peek());
  return log != nullptr ? log->Snapshot() : std::vector<TEOpenTimeLog>();
}

TETimeGuard::TETimeGuard(long type, const std::string& name)
    : m_nType(type), m_strName(CopyOrEmpty(name)), m_nStart(GetTickCount()) {}

TETimeGuard::~TETimeGuard() {
  if (TETimeLog* log = g_slot.Peek()) log->AddTime(m_nType, GetTickCount() - m_nStart, m_strName);
}

TESimpleTimeGuard::TESimpleTimeGuard(const std::string& name) : TESimpleTimeGuard(name, 0) {}

TESimpleTimeGuard::TESimpleTimeGuard(const std::string& name, unsigned long minMs)
    : m_strName(CopyOrEmpty(name)), m_nStart(GetTickCount()), m_nMin(vela::Cut32(minMs)) {}

TESimpleTimeGuard::~TESimpleTimeGuard() {
  const std::uint32_t elapsed = GetTickCount() - m_nStart;
  if (elapsed < m_nMin) return;
  if (TETimeLog* log = TETimeLog::Instance()) WriteTiming(*log, m_strName, elapsed);
}

TETimeLogGuard::TETimeLogGuard(const std::string& name)
    : TETimeGuard(TIME_STEP, {}), m_strName(CopyOrEmpty(name)), m_nStart(GetTickCount()) {
  if (TETimeLog* log = TETimeLog::Instance()) static_cast<TETimeLogImpl*>(log)->Open(m_strName);
}

TETimeLogGuard::~TETimeLogGuard() {
  TETimeLog* log = TETimeLog::Instance();
  if (log == nullptr) return;
  WriteTiming(*log, m_strName, GetTickCount() - m_nStart);
  log->EndThreadLog();
}

}  // namespace NSTE_util
