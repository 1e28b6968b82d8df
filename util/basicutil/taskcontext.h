#pragma once
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/basicutil/export.h"
#include "util/basicutil/single_return.h"

class TECmdMsg;
class VelaGnlTask;
struct TETaskHandlerStru;

namespace NSTE_util {

struct TaskProgressInfo;
struct ParallelTaskProgressInfo;

// Decides which results a context keeps.
class BASIC_UTIL_EXPORT TEResultFilter {
 public:
  virtual bool IsDropped(const TESingleResult& result) = 0;  // true: the result is not kept
  virtual ~TEResultFilter();
};

// Keeps everything.
class BASIC_UTIL_EXPORT DefaultResultFilter : public TEResultFilter {
 public:
  bool IsDropped(const TESingleResult& result) override;
};

// The frame around one request: the handler makes it on its stack, in the thread of its task, and code deeper
// down finds it with GetTaskContext(). One per task: a second one for the same task works but is not found.
// Used by its own task only; not locked.
//
// It opens the thread's error frame (tecommonerror.h), unless the thread has one, and closes it at its end.
//
// When the context that GetTaskContext() found ends, the mission that it set is unregistered from the
// progress manager, so that neither a dead task nor reports of an ended mission stay behind. A mission that
// runs on in other processes (asynprogressmgr.h) stays registered, and reported, until
// ProgressMgr::UnRegisterMission: whoever unregisters the asynchronous mission calls it.
class BASIC_UTIL_EXPORT TETaskContext {
 public:
  explicit TETaskContext(VelaGnlTask* pTask);
  // The filter is accepted for the sake of callers and not installed: the default one stays in force.
  TETaskContext(VelaGnlTask* pTask, TEResultFilter* pFilter);
  ~TETaskContext();
  TETaskContext(const TETaskContext&) = delete;
  TETaskContext& operator=(const TETaskContext&) = delete;

  VelaGnlTask* GetTask() const;
  const TECmdMsg* GetReqMsg() const;  // null without a task or a request

  void SetUserID(int userID);
  int GetUserID() const;  // -1 until set

  // Names the mission of the request and registers it with the progress manager; from now on progress is sent
  // and cancellation seen. `flag` also enters the number into the manager's set of mission numbers, until
  // this context ends.
  void SetMissionID(int missionID, bool flag);
  int GetMissionID() const;  // -1 until set
  bool IsCanceled() const;   // also true while the process shuts down; false while no mission is set

  void SetTimeOut(long long deadline);  // seconds since 1970-01-01 UTC; 0: none
  bool IsTimeOut() const;               // true after the second of the deadline

  void SetMissionDesc(const std::string& desc);
  std::string GetMissionDesc() const;

  void SetTaskFlag(const std::string& name, const std::string& value);
  std::string GetTaskFlag(const std::string& name) const;  // empty when not set
  // All flags in order of insertion; false (and `out` empty) when there are none.
  bool GetTaskFlagPairVec(std::vector<std::pair<std::string, std::string>>& out) const;

  void AppendResult(const TESingleResult& result);
  const std::list<TESingleResult>& ResultBuffer() const;

  // To the progress manager (progressmgr.h) for the request's mission; nothing happens while none is set.
  void SendProgress(int progress);
  void SendProgress(int progress, const TaskProgressInfo& info);
  void SendParalProgress(const ParallelTaskProgressInfo& info);
  void SetProgressSpan(float span);
  void RestoreProgressSpan();

 private:
  // On the stack only.
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;
  static void operator delete(void*) = delete;
  static void operator delete[](void*) = delete;

  bool Enter();
  bool Leave();

  struct Impl;
  std::unique_ptr<Impl> m_pImpl;
};

// The context of the task that is current in this thread, or null. Any thread.
BASIC_UTIL_EXPORT TETaskContext* GetTaskContext();

}  // namespace NSTE_util

// Registers a handler record while the process loads: declare one static object for each.
class BASIC_UTIL_EXPORT TEAutoRegisterTask {
 public:
  explicit TEAutoRegisterTask(const TETaskHandlerStru* handler);
};
