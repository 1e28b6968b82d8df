#include <new>
#include <utility>

#include "platform/os/clock.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/mutex_impl.h"
#include "util/basicutil/taskcontext.h"

namespace NSTE_util {
namespace {

constexpr const char* kUnit = "mutex";

// Operators know these reports by their line numbers, whatever has moved since.
constexpr int kLineOfObjectNotHeld = 369;
constexpr int kLineOfOperNotRunning = 381;

// Who keeps an operation from starting, of those that run on its objects.
class Judge {
 public:
  Judge(const MutexTable& table, int starting)
      : m_table(table), m_global(table.global.contains(starting)), m_entry(table.stoppedBy.find(starting)) {}

  bool IsRegistered() const { return m_entry != m_table.stoppedBy.end(); }
  bool MayRefuse() const { return IsRegistered() || !m_table.global.empty(); }

  void Weigh(int running) {
    if (m_global) Lower(m_anyRunning, running);
    if (m_table.global.contains(running)) Lower(m_globalRunning, running);
    if (IsRegistered() && m_entry->second.contains(running)) Lower(m_stopping, running);
  }

  std::optional<int> Blocker() const {
    if (m_anyRunning) return m_anyRunning;
    return m_globalRunning ? m_globalRunning : m_stopping;
  }

 private:
  static void Lower(std::optional<int>& smallest, int operCode) {
    if (!smallest || operCode < *smallest) smallest = operCode;
  }

  const MutexTable& m_table;
  bool m_global;
  std::map<int, std::set<int>>::const_iterator m_entry;
  // The smallest code for each reason to refuse, in the order in which they count.
  std::optional<int> m_anyRunning;
  std::optional<int> m_globalRunning;
  std::optional<int> m_stopping;
};

}  // namespace

bool MutexTable::Register(int running, int stopped, bool both) {
  if (running == 0 && stopped == 0) return false;
  if (running == 0 || stopped == 0) {
    global.insert(running + stopped);
    return true;
  }
  stoppedBy[stopped].insert(running);
  if (both) stoppedBy[running].insert(stopped);
  return true;
}

TEMutexOperMgrImpl::Asker::Asker() : task(VelaGetCurrentTask()) {
  mission.m_nMissionNo = -1;
  const TETaskContext* const context = task != nullptr ? GetTaskContext() : nullptr;
  if (context == nullptr) return;
  userID = context->GetUserID();
  mission = MakeMissionKey(context->GetReqMsg(), context->GetMissionID());
}

// The grant itself, in a list so that it can be moved to its place without failing.
std::list<MutexGrant> TEMutexOperMgrImpl::Asker::MakeGrant(int operCode) const {
  std::list<MutexGrant> made(1);
  made.front().self = made.begin();
  TERunningOper& about = made.front().about;
  about.m_nOperCode = operCode;
  about.m_since = vela::Now();
  about.m_nUserID = userID;
  about.m_mission = mission;
  about.m_bMission = mission.m_nMissionNo != -1;
  if (task == nullptr) return made;
  about.m_wTaskID = task->GetTaskId();
  about.m_strTaskName = task->GetName();
  return made;
}

unsigned long TEMutexOperMgrImpl::LockOper(int operCode, const TEOperObject& obj) {
  return Lock(operCode, std::initializer_list<TEOperObject>{obj});
}

unsigned long TEMutexOperMgrImpl::LockOper(int operCode, const std::list<TEOperObject>& objs) {
  return Lock(operCode, objs);
}

template <class Objects>
unsigned long TEMutexOperMgrImpl::Lock(int operCode, const Objects& objs) {
  const Asker asker;
  Answer answer;
  {
    const vela::MutexLock lock(m_mutex);
    answer = Ask(operCode, objs);
    if (!answer.blocker && !Grant(operCode, objs, asker)) answer.result = VELA_ERR_MEMORY;
  }
  if (answer.unregistered)
    GetDefaultDebugInterface().PrintF(3, "No Mutex Operations Register for: %d", operCode);
  if (answer.withoutErrorCode)
    GetDefaultDebugInterface().PrintF(3, "Can't find match error of operation(%d)", *answer.blocker);
  return answer.result;
}

template <class Objects>
TEMutexOperMgrImpl::Answer TEMutexOperMgrImpl::Ask(int operCode, const Objects& objs) {
  Judge judge(m_table, operCode);
  const auto weigh = [&judge](int running) { judge.Weigh(running); };
  if (judge.MayRefuse())
    for (const TEOperObject& object : objs) m_held.VisitConflicts(object, weigh);

  Answer answer;
  answer.blocker = judge.Blocker();
  answer.unregistered = !answer.blocker && !judge.IsRegistered();
  if (!answer.blocker) return answer;
  const auto code = m_table.errorCodes.find(*answer.blocker);
  answer.withoutErrorCode = code == m_table.errorCodes.end();
  answer.result = answer.withoutErrorCode ? OPER_REFUSED : code->second;
  return answer;
}

// False without memory, and nothing has changed then.
template <class Objects>
bool TEMutexOperMgrImpl::Grant(int operCode, const Objects& objs, const Asker& asker) {
  const bool runs = m_running.contains(operCode);
  if (runs && objs.size() == 0) return true;
  std::size_t added = 0;
  try {
    std::list<MutexGrant> grant = asker.MakeGrant(operCode);
    Operation& operation = m_running[operCode];
    for (const TEOperObject& object : objs) {
      m_held.Add(operCode, object, &grant.front());
      ++added;
    }
    grant.front().held = added;
    operation.held += added;
    operation.grants.splice(operation.grants.end(), grant);
    return true;
  } catch (const std::bad_alloc&) {
    for (const TEOperObject& object : objs) {
      if (added-- == 0) break;
      m_held.RemoveNewest(operCode, object);
    }
    if (!runs) m_running.erase(operCode);
    return false;
  }
}

void TEMutexOperMgrImpl::UnlockOper(int operCode, const TEOperObject& obj) {
  Unlock(operCode, std::initializer_list<TEOperObject>{obj});
}

int TEMutexOperMgrImpl::UnlockOper(int operCode, const std::list<TEOperObject>& objs) {
  Unlock(operCode, objs);
  return 0;
}

template <class Objects>
void TEMutexOperMgrImpl::Unlock(int operCode, const Objects& objs) {
  // Once the operation has ended it stays so: the reports about it follow those about its objects.
  std::size_t notHeld = 0;
  std::size_t notRunning = 0;
  {
    const vela::MutexLock lock(m_mutex);
    auto operation = m_running.find(operCode);
    for (const TEOperObject& object : objs) {
      if (operation == m_running.end()) {
        ++notRunning;
        continue;
      }
      if (!Release(operation->second, operCode, object)) {
        ++notHeld;
        continue;
      }
      if (operation->second.held != 0) continue;
      m_running.erase(operation);
      operation = m_running.end();
    }
  }
  for (; notHeld > 0; --notHeld)
    ReportAssert(kUnit, kLineOfObjectNotHeld, "(listIter != operIter->second.end())");
  for (; notRunning > 0; --notRunning) ReportAssert(kUnit, kLineOfOperNotRunning, "(false)");
}

bool TEMutexOperMgrImpl::Release(Operation& operation, int operCode, const TEOperObject& object) {
  MutexGrant* const grant = m_held.RemoveOldest(operCode, object);
  if (grant == nullptr) return false;
  --operation.held;
  if (--grant->held == 0) operation.grants.erase(grant->self);
  return true;
}

bool TEMutexOperMgrImpl::IsOperRunning(int operCode) {
  const vela::MutexLock lock(m_mutex);
  return m_running.contains(operCode);
}

bool TEMutexOperMgrImpl::HasRunningOper() {
  const vela::MutexLock lock(m_mutex);
  return !m_running.empty();
}

void TEMutexOperMgrImpl::RegisterMutex(int nOper1, int nOper2, bool bBoth) {
  bool registered = false;
  {
    const vela::MutexLock lock(m_mutex);
    registered = m_table.Register(nOper1, nOper2, bBoth);
  }
  if (registered) return;
  GetDefaultDebugInterface().Print(3,
                                   "Calling TEMutexOperMgrImpl::RegisterMutex() with nOper1=0 and nOper2=0");
}

void TEMutexOperMgrImpl::RegisterErrorCode(int operCode, std::uint32_t errorCode) {
  const vela::MutexLock lock(m_mutex);
  m_table.errorCodes.try_emplace(operCode, errorCode);
}

void TEMutexOperMgrImpl::AdoptTable(TEMutexOperMgrImpl& other) {
  MutexTable table;
  {
    const vela::MutexLock lock(other.m_mutex);
    table = std::move(other.m_table);
  }
  const vela::MutexLock lock(m_mutex);
  m_table = std::move(table);
}

bool TEMutexOperMgrImpl::FindBlocker(int operCode, const std::list<TEOperObject>& objs,
                                     TEBlockingOper& blocker) {
  const vela::MutexLock lock(m_mutex);
  const Answer answer = Ask(operCode, objs);
  if (!answer.blocker) return false;
  for (const TEOperObject& wanted : objs) {
    const auto held = m_held.FindConflict(*answer.blocker, wanted);
    if (!held) continue;
    TEBlockingOper found;
    static_cast<TERunningOper&>(found) = held->second->about;
    found.m_nErrorCode = answer.result;
    found.m_wantedObject = wanted;
    found.m_heldObject = held->first;
    blocker = std::move(found);
    return true;
  }
  return false;
}

std::vector<TERunningOperObjects> TEMutexOperMgrImpl::Snapshot() {
  std::vector<TERunningOperObjects> opers;
  std::map<const MutexGrant*, std::size_t> places;
  const vela::MutexLock lock(m_mutex);
  for (const auto& [operCode, operation] : m_running) {
    for (const MutexGrant& grant : operation.grants) {
      places.emplace(&grant, opers.size());
      static_cast<TERunningOper&>(opers.emplace_back()) = grant.about;
      opers.back().m_objects.reserve(grant.held);
    }
  }
  m_held.ForEachHeld([&](const TEOperObject& object, const MutexGrant* grant) {
    opers[places.at(grant)].m_objects.push_back(object);
  });
  return opers;
}

}  // namespace NSTE_util
