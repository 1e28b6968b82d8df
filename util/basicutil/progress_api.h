#pragma once
#include <string>

#include "util/basicutil/client_records.h"
#include "util/basicutil/export.h"

class VelaGnlTask;

// What handlers call to report progress. Everything here belongs to the thread of its task; nothing throws.
namespace NSTE_util {

class ProgressMgr;

// For the context of the current task (taskcontext.h); without one nothing happens, the answer is false.
BASIC_UTIL_EXPORT void SendProgress(int progress);
BASIC_UTIL_EXPORT void SendProgress(int progress, const std::string& info);
BASIC_UTIL_EXPORT bool IsTaskCanceled();

// Makes the timer task that reports all missions every 30 seconds, and routes the commands of missions (abort
// 0x208001, reports 0x208002 and 0x218004) to this task manager. Once per process. 0, or -1 when the task
// manager does not exist or takes no tasks.
//
// An abort is served from then on: it cancels the mission with that number of the client that sent it, and
// stops what runs of it in other processes. Only scope 255 is known.
BASIC_UTIL_EXPORT int InitProgressTask(unsigned char taskMgrId);

// Tells all clients that a mission has ended. Nothing happens without a current task.
BASIC_UTIL_EXPORT void SendTaskFinishNotify(unsigned long missionID);

// Opens a span of the current task's mission (see MissionProgressCtrl) and closes it at the end of the block.
// A span that is refused (its whole part is not 0 to 100) opens nothing, so nothing is closed.
class BASIC_UTIL_EXPORT ProgressSpanGuard {
 public:
  explicit ProgressSpanGuard(int span);
  explicit ProgressSpanGuard(float span);
  ~ProgressSpanGuard();
  ProgressSpanGuard(const ProgressSpanGuard&) = delete;
  ProgressSpanGuard& operator=(const ProgressSpanGuard&) = delete;

  // Closes the span and opens the next one.
  void ResetSpan(int span);
  void ResetSpan(float span);

 private:
  void Open(float span);
  void Close();

  bool m_bActive = false;
};

// Binds a task to a mission of the client whose request it serves, without a TETaskContext, until it ends.
class BASIC_UTIL_EXPORT TEProgressGuage {
 public:
  TEProgressGuage(VelaGnlTask* task, long missionID);
  ~TEProgressGuage();
  TEProgressGuage(const TEProgressGuage&) = delete;
  TEProgressGuage& operator=(const TEProgressGuage&) = delete;

  bool IsCancel() const;
  // False when the mission is not registered.
  bool SendProgress(int progress, const char* text);

 private:
  VelaGnlTask* m_pTask;
};

// The same for callers that bind it again and again. Mission number -1: bound to no mission.
class BASIC_UTIL_EXPORT TEEthProgressTool {
 public:
  TEEthProgressTool() = default;
  TEEthProgressTool(VelaGnlTask* task, ProgressMgr* mgr, long missionID, unsigned a, unsigned b);
  ~TEEthProgressTool();
  TEEthProgressTool(const TEEthProgressTool&) = delete;
  TEEthProgressTool& operator=(const TEEthProgressTool&) = delete;

  // Leaves the mission that it was bound to and binds to the new one. `mgr` is not owned and must outlive
  // this object; `a` and `b` are kept for the caller.
  void Setvalue(VelaGnlTask* task, ProgressMgr* mgr, long missionID, unsigned a, unsigned b);
  // Sends only values up to 100 that differ from the last one sent.
  void SendProgress(unsigned progress, const char* text);
  bool IsNeedAbort() const;
  ProgressMgr* GetProgressMgr() const { return m_pProgressMgr; }
  unsigned GetFirstValue() const { return m_nFirst; }
  unsigned GetSecondValue() const { return m_nSecond; }

 private:
  static constexpr unsigned NOTHING_SENT = ~0u;

  void LeaveMission();

  VelaGnlTask* m_pTask = nullptr;
  unsigned m_nTimesSet = 0;
  ClientMissionID m_missionKey{.m_nMissionNo = -1};
  ProgressMgr* m_pProgressMgr = nullptr;
  unsigned m_nLastProgress = NOTHING_SENT;
  unsigned m_nFirst = 0;
  unsigned m_nSecond = 0;
};

}  // namespace NSTE_util
