#include "platform/task/te_task_creator.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>

#include "platform/log/log_process.h"
#include "platform/os/mutex.h"
#include "platform/os/os_types.h"

namespace {

class TETaskCreatorImpl final : public TETaskCreator {
 public:
  bool RegisterTask(const TETaskHandlerStru* handler) override;
  const TETaskHandlerStru* Find(std::uint32_t cmdCode) const override;
  std::vector<const TETaskHandlerStru*> All() const override;
  std::size_t Refused() const override { return m_refused; }

 private:
  mutable vela::Mutex m_lock;
  std::unordered_map<std::uint32_t, const TETaskHandlerStru*> m_handlers VELA_GUARDED_BY(m_lock);
  std::atomic<std::size_t> m_refused = 0;
};

void TraceRefusal(const TETaskHandlerStru& handler, const char* why) {
  char text[256];
  std::snprintf(text, sizeof text, "The handler record %s of command 0x%lX was refused: %s",
                handler.name == nullptr ? "" : handler.name, handler.cmdCode, why);
  LogProcess::Error(text);
}

bool TETaskCreatorImpl::RegisterTask(const TETaskHandlerStru* handler) {
  if (handler == nullptr) return false;
  if (handler->handle == nullptr || handler->name == nullptr) {
    ++m_refused;
    TraceRefusal(*handler, "it has no handler or no name");
    return false;
  }
  bool accepted = false;
  {
    vela::MutexLock lock(m_lock);
    accepted = m_handlers.emplace(vela::Cut32(handler->cmdCode), handler).first->second == handler;
  }
  if (accepted) return true;
  ++m_refused;
  TraceRefusal(*handler, "the command code is taken");
  return false;
}

const TETaskHandlerStru* TETaskCreatorImpl::Find(std::uint32_t cmdCode) const {
  vela::MutexLock lock(m_lock);
  const auto found = m_handlers.find(cmdCode);
  return found == m_handlers.end() ? nullptr : found->second;
}

std::vector<const TETaskHandlerStru*> TETaskCreatorImpl::All() const {
  std::vector<const TETaskHandlerStru*> all;
  {
    vela::MutexLock lock(m_lock);
    for (const auto& [code, handler] : m_handlers) all.push_back(handler);
  }
  std::sort(all.begin(), all.end(),
            [](const auto* a, const auto* b) { return vela::Cut32(a->cmdCode) < vela::Cut32(b->cmdCode); });
  return all;
}

}  // namespace

TETaskCreator::~TETaskCreator() = default;

TETaskCreator* TETaskCreator::Instance() {
  static TETaskCreator* const creator = new TETaskCreatorImpl;  // lives as long as the records
  return creator;
}
