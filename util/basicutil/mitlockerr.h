#pragma once
#include <map>
#include <string>

#include "platform/os/mutex.h"
#include "util/basicutil/export.h"

namespace vela {
template <class T>
class SingletonSlot;
}  // namespace vela

namespace NSTE_util {

// Where a thread leaves a text about a lock failure for a later step of the same thread, for example the one
// that builds the response. Does nothing while the switch bEnableMitLockErrMgr is off. Any thread; callers
// choose the thread id (GetCurrentThreadId) and erase what they inserted.
class BASIC_UTIL_EXPORT TEMitLockErrMgr {
 public:
  // Null only at process end.
  static TEMitLockErrMgr* Instance();
  static void Destroy();

  // The first text of a thread stays until it is erased. A null pointer is an empty text.
  void InsertThrIDandInfo(int threadId, const char* info);
  // False, and `info` untouched, when the thread has none.
  bool FindThrInfo(int threadId, std::string& info);
  void EraseThrIDandInfo(int threadId);

 private:
  friend class vela::SingletonSlot<TEMitLockErrMgr>;
  TEMitLockErrMgr() = default;
  ~TEMitLockErrMgr();

  vela::Mutex m_mutex;
  std::map<int, std::string> m_texts VELA_GUARDED_BY(m_mutex);
};

}  // namespace NSTE_util
