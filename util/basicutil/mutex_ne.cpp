#include "util/basicutil/mutex_ne.h"

#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/mutex_query.h"

namespace NSTE_util {
namespace {

const TECmdMsg* CurrentRequest() {
  const auto* const task = dynamic_cast<const VelaGnlTask*>(VelaGetCurrentTask());
  return task != nullptr ? task->GetCurReqMsg() : nullptr;
}

}  // namespace

TEMutexOperNEGuard::TEMutexOperNEGuard(unsigned long neId, bool bLock) : m_bLock(bLock) {
  if (bLock) LockMutexOperNe(neId);
}

TEMutexOperNEGuard::TEMutexOperNEGuard(const std::vector<unsigned long>& neIds, bool bLock) : m_bLock(bLock) {
  if (bLock) LockMutexOperNe(neIds);
}

TEMutexOperNEGuard::TEMutexOperNEGuard(const std::list<unsigned long>& neIds, bool bLock) : m_bLock(bLock) {
  if (bLock) LockMutexOperNe(neIds);
}

TEMutexOperNEGuard::~TEMutexOperNEGuard() {
  if (m_nResult != 0 || !m_bLock) return;
  try {
    if (TEMutexOperMgr* const manager = TEMutexOperMgr::Instance())
      manager->UnlockOper(m_nOperCode, m_objects);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
  }
}

bool TEMutexOperNEGuard::GetBlocker(TEBlockingOper& blocker) const {
  return m_nResult != 0 && FindBlockingOper(m_nOperCode, m_objects, blocker);
}

void TEMutexOperNEGuard::LockMutexOperNe(unsigned long neId) {
  LockAll(std::initializer_list<unsigned long>{neId});
}

void TEMutexOperNEGuard::LockMutexOperNe(const std::vector<unsigned long>& neIds) {
  LockAll(neIds);
}

void TEMutexOperNEGuard::LockMutexOperNe(const std::list<unsigned long>& neIds) {
  LockAll(neIds);
}

template <class NEIds>
void TEMutexOperNEGuard::LockAll(const NEIds& neIds) {
  const TECmdMsg* const request = CurrentRequest();
  if (request == nullptr) {
    m_nResult = NE_LOCK_WITHOUT_TASK;
    return;
  }
  m_nOperCode = static_cast<int>(request->Header().cmdCode);
  for (const unsigned long neId : neIds) m_objects.emplace_back(neId, 0U, 0UL);
  TEMutexOperMgr* const manager = TEMutexOperMgr::Instance();
  m_nResult = manager != nullptr ? vela::Cut32(manager->LockOper(m_nOperCode, m_objects)) : VELA_ERR_GENERAL;
}

}  // namespace NSTE_util
