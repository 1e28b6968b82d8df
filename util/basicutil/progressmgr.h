#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "util/basicutil/client_records.h"
#include "util/basicutil/export.h"

class VelaGnlTask;

namespace NSTE_util {

// What a report says besides the percentage.
struct BASIC_UTIL_EXPORT TaskProgressInfo {
  TaskProgressInfo() = default;
  TaskProgressInfo(const std::string& text);  // NOLINT: implicit by interface; the third text
  TaskProgressInfo(const char* text);         // NOLINT: implicit by interface; null: empty

  std::int32_t m_nValue = 0;  // the caller's own: a step or a count
  std::string m_strFirst;     // the object that is worked on
  std::string m_strSecond;    // the step
  std::string m_strThird;     // the text for the operator: what is being done
};

// The report of one of several parts that run side by side.
struct BASIC_UTIL_EXPORT ParallelTaskProgressInfo {
  std::int32_t m_nProgress = 0;  // percent, as for SendProgress
  std::string m_strPartName = {};
  std::string m_strPartDetail = {};
};

// The arithmetic of one mission: spans of work, nested, each a share of the one around it. A handler reports
// 0 to 100 within the innermost span. Single precision throughout. Not locked.
//
//   call                | no span open            | span open
//   --------------------+-------------------------+---------------------------------------------
//   UpdateProgress(p)   | progress advances       | progress advances by the span's share
//   SetProgressSpan(s)  | opens a span            | opens a span within it
//   RestoreProgressSpan | nothing                 | completes the span and closes it
class BASIC_UTIL_EXPORT MissionProgressCtrl {
 public:
  explicit MissionProgressCtrl(int progress);

  // Whether SetProgressSpan takes it: its whole part is 0 to 100.
  static bool IsSpan(float span);

  // The next `span` percent of the current span become a span of their own; the outer one counts on from the
  // end of it. Ignored unless IsSpan.
  void SetProgressSpan(float span);
  // Reports that go backwards or beyond 100 are ignored.
  void UpdateProgress(int progress);
  void RestoreProgressSpan();

  int GetCurProgress() const;  // of the whole mission, cut to the whole percent
  float GetCurWeight() const;  // share of the mission that one percent of the current span is worth

 private:
  // Share of one percent, and the last report. The innermost span lies in the object itself: most missions
  // have no other, and then one is found in one step and costs no allocation.
  struct Span {
    float weight = 1.0F;
    float base = 0.0F;
  };

  float m_fProgress;
  Span m_current;
  std::vector<Span> m_outer;
};

// A mission as an operator sees it.
struct TERunningMission {
  struct Task {
    std::uint16_t m_wTaskID = 0;
    std::uint32_t m_nThreadID = 0;  // of the operating system: which registered it
  };

  ClientMissionID m_key;
  int m_nProgress = 0;  // percent, of what runs in this process
  bool m_bCanceled = false;
  std::vector<Task> m_tasks;  // none: it runs on in other processes
};

// The missions of this process: their progress, whether they are cancelled, and the reports to their clients.
// Thread-safe: one mutex is held for the whole of each operation, sends included (which never block).
//
// A key finds a mission whose other fields are equal and whose reply attribute is the same or 0 on either
// side; the exact key wins, then the one with attribute 0, then the lowest. An equal key is the same mission:
// registering it again starts it from 0.
//
//   mission    | register  | cancel       | report        | unregister
//   -----------+-----------+--------------+---------------+-----------------------
//   unknown    | running   | remembered   | false, traced | nothing
//   running    | from 0 on | cancelled    | sent          | unknown
//   cancelled  | from 0 on | nothing      | sent          | unknown, not cancelled
class BASIC_UTIL_EXPORT ProgressMgr {
 public:
  // Null only at process end.
  static ProgressMgr* Instance();
  static void Destroy();
  // All missions, in key order. Makes no manager where there is none.
  static std::vector<TERunningMission> Missions();

  virtual ~ProgressMgr();

  // Nothing happens when the task already has a mission, or is null.
  virtual void RegisterMission(const ClientMissionID& key, VelaGnlTask* task) = 0;
  virtual bool IsCanceled(const ClientMissionID& key) = 0;  // also true while the process shuts down
  // The same for the task's mission; without one: whether the process shuts down.
  virtual bool IsTaskCanceled(VelaGnlTask* task) = 0;

  // Advances the mission and reports it to the client with an answer frame of `task` (null: of nobody).
  // False, and a trace line, when the mission is unknown. A report that cannot be sent is traced.
  virtual bool SendProgress(VelaGnlTask* task, const ClientMissionID& key, int progress,
                            const TaskProgressInfo& info) = 0;
  // The same for the mission of the task `owner`; false when it has none.
  virtual bool SendTaskProgress(VelaGnlTask* task, VelaGnlTask* owner, int progress,
                                const TaskProgressInfo& info) = 0;
  // Reports every mission, in key order, with answer frames of the current task; twice to clients with a
  // process ID. A mission that runs on in other processes is reported as AsynProgressMgr knows it.
  virtual void SendAllProgress() = 0;

  virtual void CancelMission(const ClientMissionID& key) = 0;
  // Ends the mission of a task: its progress, its cancellation and the task's entry.
  virtual void UnRegisterTask(VelaGnlTask* task) = 0;
  // Ends every mission that equals the key, with the entries of its tasks.
  virtual void UnRegisterMission(const ClientMissionID& key) = 0;

  // As SendProgress, with the report for parallel parts.
  virtual bool SendParalProgress(VelaGnlTask* task, const ClientMissionID& key,
                                 const ParallelTaskProgressInfo& info) = 0;

  // The arithmetic of MissionProgressCtrl; unknown missions are ignored.
  virtual void SetProgressSpan(const ClientMissionID& key, float span) = 0;
  virtual void RestoreProgressSpan(const ClientMissionID& key) = 0;
  virtual void UpdateProgress(const ClientMissionID& key, int progress) = 0;
  // False, 0 and 1.0 when the mission is unknown.
  virtual bool GetProgress(const ClientMissionID& key, int& progress, float& weight) = 0;

  // A set of mission numbers, kept for whoever asks.
  virtual void EnterMissionNumber(int missionNo) = 0;
  virtual void RemoveMissionNumber(int missionNo) = 0;
  virtual bool IsMissionNumberEntered(int missionNo) = 0;
};

}  // namespace NSTE_util
