#include "util/basicutil/mitlockerr.h"

#include "platform/os/singleton.h"
#include "util/basicutil/env_settings.h"

namespace NSTE_util {
namespace {

vela::SingletonSlot<TEMitLockErrMgr> g_slot;

}  // namespace

TEMitLockErrMgr* TEMitLockErrMgr::Instance() {
  return g_slot.Instance<TEMitLockErrMgr>();
}

void TEMitLockErrMgr::Destroy() {
  g_slot.Destroy();
}

TEMitLockErrMgr::~TEMitLockErrMgr() {
  const vela::MutexLock lock(m_mutex);
  m_texts.clear();
}

void TEMitLockErrMgr::InsertThrIDandInfo(int threadId, const char* info) {
  if (!g_bEnableMitLockErrMgr) return;
  const vela::MutexLock lock(m_mutex);
  m_texts.try_emplace(threadId, info != nullptr ? info : "");
}

bool TEMitLockErrMgr::FindThrInfo(int threadId, std::string& info) {
  if (!g_bEnableMitLockErrMgr) return false;
  const vela::MutexLock lock(m_mutex);
  const auto it = m_texts.find(threadId);
  if (it == m_texts.end()) return false;
  info = it->second;
  return true;
}

void TEMitLockErrMgr::EraseThrIDandInfo(int threadId) {
  if (!g_bEnableMitLockErrMgr) return;
  const vela::MutexLock lock(m_mutex);
  m_texts.erase(threadId);
}

}  // namespace NSTE_util
