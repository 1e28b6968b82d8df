#pragma once
#include <cstdint>
#include <list>
#include <vector>

#include "util/basicutil/export.h"
#include "util/basicutil/mutex.h"

namespace NSTE_util {

// The result of an NE lock that was asked for outside of a task that serves a request.
constexpr std::uint32_t NE_LOCK_WITHOUT_TASK = 0x41013281;

// Locks whole NEs for the request of the current task: the operation is the request's command code. Gives
// back in its destructor what it was granted. Keep it in one scope: a copy gives the same NEs back again, and
// assigning forgets what was held before.
class BASIC_UTIL_EXPORT TEMutexOperNEGuard {
 public:
  // With `bLock` false nothing is locked and the result is 0.
  TEMutexOperNEGuard(unsigned long neId, bool bLock);
  TEMutexOperNEGuard(const std::vector<unsigned long>& neIds, bool bLock);
  TEMutexOperNEGuard(const std::list<unsigned long>& neIds, bool bLock);
  TEMutexOperNEGuard(const TEMutexOperNEGuard& other) = default;
  TEMutexOperNEGuard& operator=(const TEMutexOperNEGuard& other) = default;
  ~TEMutexOperNEGuard();

  // 0: the NEs are held, or none was to be locked. Otherwise what the request is to be answered with.
  unsigned long GetResult() const { return m_nResult; }
  // Who is in the way of a refused guard now, see FindBlockingOper (mutex_query.h). False when it was not
  // refused.
  bool GetBlocker(TEBlockingOper& blocker) const;

 private:
  void LockMutexOperNe(unsigned long neId);
  void LockMutexOperNe(const std::vector<unsigned long>& neIds);
  void LockMutexOperNe(const std::list<unsigned long>& neIds);
  template <class NEIds>
  void LockAll(const NEIds& neIds);

  int m_nOperCode = 0;
  std::list<TEOperObject> m_objects;
  std::uint32_t m_nResult = 0;
  bool m_bLock;
};

}  // namespace NSTE_util
