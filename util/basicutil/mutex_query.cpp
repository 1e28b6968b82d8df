#include "util/basicutil/mutex_query.h"

#include <algorithm>
#include <new>

#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/mutex_impl.h"
#include "util/basicutil/progressmgr.h"

namespace NSTE_util {
namespace {

TEMutexOperMgrImpl* Manager() {
  return static_cast<TEMutexOperMgrImpl*>(TEMutexOperMgr::Instance());
}

// Of the whole mission, the part that runs on in other processes included; -1 when it has ended.
int ProgressOf(const ClientMissionID& mission) {
  AsynProgressMgr* const asyn = AsynProgressMgr::Instance();
  unsigned long id = 0;
  if (asyn != nullptr && asyn->FindMissionID(mission, id) && asyn->IsMissionRegistered(id, true))
    return static_cast<int>(asyn->GetMissionProgress(id));
  ProgressMgr* const manager = ProgressMgr::Instance();
  int progress = 0;
  float weight = 0;
  return manager != nullptr && manager->GetProgress(mission, progress, weight) ? progress : -1;
}

void AddWhatIsOfNow(TERunningOper& oper, vela::WallTime now) {
  oper.m_age = std::max(now - oper.m_since, std::chrono::microseconds(0));
  if (oper.m_bMission) oper.m_nProgress = ProgressOf(oper.m_mission);
}

}  // namespace

bool FindBlockingOper(int operCode, const std::list<TEOperObject>& objs, TEBlockingOper& blocker) {
  TEMutexOperMgrImpl* const manager = Manager();
  if (manager == nullptr || !manager->FindBlocker(operCode, objs, blocker)) return false;
  AddWhatIsOfNow(blocker, vela::Now());
  return true;
}

bool GetRunningOpers(std::vector<TERunningOperObjects>& opers) {
  opers.clear();
  TEMutexOperMgrImpl* const manager = Manager();
  if (manager == nullptr) return true;
  try {
    opers = manager->Snapshot();
  } catch (const std::bad_alloc&) {
    return false;
  }
  const vela::WallTime now = vela::Now();
  for (TERunningOperObjects& oper : opers) {
    std::sort(oper.m_objects.begin(), oper.m_objects.end());
    AddWhatIsOfNow(oper, now);
  }
  return true;
}

}  // namespace NSTE_util
