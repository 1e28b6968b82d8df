#pragma once
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/os/mutex.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/mutex_objects_internal.h"
#include "util/basicutil/mutex_query.h"

class VelaTask;

namespace NSTE_util {

// Which operations exclude which, and what the refusals are. Not locked.
struct MutexTable {
  // `stopped` may not start while `running` runs, and the reverse if `both`. False when both codes are 0.
  bool Register(int running, int stopped, bool both);

  std::map<int, std::set<int>> stoppedBy;
  std::set<int> global;  // exclude everything
  std::map<int, std::uint32_t> errorCodes;
};

// One granted lock.
struct MutexGrant {
  TERunningOper about;  // without age and progress
  std::size_t held = 0;
  std::list<MutexGrant>::iterator self;  // in the operation's list
};

class TEMutexOperMgrImpl : public TEMutexOperMgr {
 public:
  unsigned long LockOper(int operCode, const TEOperObject& obj) override;
  unsigned long LockOper(int operCode, const std::list<TEOperObject>& objs) override;
  void UnlockOper(int operCode, const TEOperObject& obj) override;
  int UnlockOper(int operCode, const std::list<TEOperObject>& objs) override;
  bool IsOperRunning(int operCode) override;
  bool HasRunningOper() override;
  bool LoadMutexFile(const std::string& path) override;

  void RegisterMutex(int nOper1, int nOper2, bool bBoth);
  void RegisterErrorCode(int operCode, std::uint32_t errorCode);  // the first one stays
  // What runs stays as it is.
  void AdoptTable(TEMutexOperMgrImpl& other);

  bool FindBlocker(int operCode, const std::list<TEOperObject>& objs, TEBlockingOper& blocker);
  // Throws without memory.
  std::vector<TERunningOperObjects> Snapshot();

 private:
  // An operation that runs. It has objects, or was started without any and never had some since.
  struct Operation {
    std::list<MutexGrant> grants;  // the oldest first
    std::size_t held = 0;
  };
  // Who asks for a lock; known before the manager's mutex is taken.
  struct Asker {
    Asker();
    std::list<MutexGrant> MakeGrant(int operCode) const;

    const VelaTask* task;
    int userID = -1;
    ClientMissionID mission;
  };
  // The answer to a wanted lock, and what is to be traced about it once the mutex is free.
  struct Answer {
    std::uint32_t result = 0;
    std::optional<int> blocker;
    bool unregistered = false;
    bool withoutErrorCode = false;
  };

  template <class Objects>
  unsigned long Lock(int operCode, const Objects& objs);
  template <class Objects>
  Answer Ask(int operCode, const Objects& objs) VELA_REQUIRES(m_mutex);
  template <class Objects>
  bool Grant(int operCode, const Objects& objs, const Asker& asker) VELA_REQUIRES(m_mutex);
  template <class Objects>
  void Unlock(int operCode, const Objects& objs);
  bool Release(Operation& operation, int operCode, const TEOperObject& object) VELA_REQUIRES(m_mutex);

  vela::Mutex m_mutex;
  MutexTable m_table VELA_GUARDED_BY(m_mutex);
  std::map<int, Operation> m_running VELA_GUARDED_BY(m_mutex);
  HeldObjects m_held VELA_GUARDED_BY(m_mutex);
};

}  // namespace NSTE_util
