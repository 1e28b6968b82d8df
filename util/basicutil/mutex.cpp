#include "util/basicutil/mutex.h"

#include "platform/os/singleton.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/mutex_impl.h"
#include "util/basicutil/mutex_query.h"

namespace NSTE_util {
namespace {

vela::SingletonSlot<TEMutexOperMgr> g_slot;

}  // namespace

bool TEOperObject::IsConflict(const TEOperObject& other) const {
  if (m_nFirst == 0 || other.m_nFirst == 0) return true;
  if (m_nFirst != other.m_nFirst) return false;
  if (m_nSecond == 0 || other.m_nSecond == 0) return true;
  if (m_nSecond != other.m_nSecond) return false;
  return m_nThird == 0 || other.m_nThird == 0 || m_nThird == other.m_nThird;
}

TEMutexOperMgr::~TEMutexOperMgr() = default;

TEMutexOperMgr* TEMutexOperMgr::Instance() {
  return g_slot.Instance<TEMutexOperMgrImpl>();
}

void TEMutexOperMgr::Destroy() {
  g_slot.Destroy();
}

TEMutexOperGuard::TEMutexOperGuard(int operCode, const TEOperObject& obj)
    : TEMutexOperGuard(operCode, std::list<TEOperObject>{obj}) {}

TEMutexOperGuard::TEMutexOperGuard(int operCode, const std::list<TEOperObject>& objs)
    : m_nOperCode(operCode), m_objects(objs), m_nResult(VELA_ERR_GENERAL) {
  TEMutexOperMgr* const manager = TEMutexOperMgr::Instance();
  if (manager != nullptr) m_nResult = vela::Cut32(manager->LockOper(m_nOperCode, m_objects));
}

TEMutexOperGuard::~TEMutexOperGuard() {
  if (m_nResult != 0) return;
  try {
    if (TEMutexOperMgr* const manager = TEMutexOperMgr::Instance())
      manager->UnlockOper(m_nOperCode, m_objects);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
  }
}

bool TEMutexOperGuard::GetBlocker(TEBlockingOper& blocker) const {
  return m_nResult != 0 && FindBlockingOper(m_nOperCode, m_objects, blocker);
}

}  // namespace NSTE_util
