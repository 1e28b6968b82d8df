#pragma once
#include <memory_resource>
#include <optional>
#include <set>
#include <unordered_map>

#include "platform/os/mutex.h"
#include "util/basicutil/mission_map.h"
#include "util/basicutil/progressmgr.h"

namespace NSTE_util {

class ProgressMgrImpl : public ProgressMgr {
 public:
  ProgressMgrImpl() { m_missions.max_load_factor(0.5F); }

  void RegisterMission(const ClientMissionID& key, VelaGnlTask* task) override;
  bool IsCanceled(const ClientMissionID& key) override;
  bool IsTaskCanceled(VelaGnlTask* task) override;
  bool SendProgress(VelaGnlTask* task, const ClientMissionID& key, int progress,
                    const TaskProgressInfo& info) override;
  bool SendTaskProgress(VelaGnlTask* task, VelaGnlTask* owner, int progress,
                        const TaskProgressInfo& info) override;
  void SendAllProgress() override;
  void CancelMission(const ClientMissionID& key) override;
  void UnRegisterTask(VelaGnlTask* task) override;
  void UnRegisterMission(const ClientMissionID& key) override;
  bool SendParalProgress(VelaGnlTask* task, const ClientMissionID& key,
                         const ParallelTaskProgressInfo& info) override;
  void SetProgressSpan(const ClientMissionID& key, float span) override;
  void RestoreProgressSpan(const ClientMissionID& key) override;
  void UpdateProgress(const ClientMissionID& key, int progress) override;
  bool GetProgress(const ClientMissionID& key, int& progress, float& weight) override;
  void EnterMissionNumber(int missionNo) override;
  void RemoveMissionNumber(int missionNo) override;
  bool IsMissionNumberEntered(int missionNo) override;

  // Cancels only a mission that is registered, in one step: an abort that comes too late leaves nothing
  // behind.
  bool CancelKnownMission(const ClientMissionID& key);
  // Drops the task's entry and keeps its mission, which runs on without it.
  void ForgetTask(VelaGnlTask* task);
  // As UnRegisterTask, but leaves a mission alone that a newer request of its client goes on with.
  void EndRequest(VelaGnlTask* task);
  std::vector<TERunningMission> Snapshot();

 private:
  struct TaskEntry {
    ClientMissionID key;
    TERunningMission::Task task;
  };

  // The task's entry, removed.
  std::optional<ClientMissionID> TakeTask(VelaGnlTask* task) VELA_REQUIRES(m_mutex);
  void EndMission(const ClientMissionID& key) VELA_REQUIRES(m_mutex);
  MissionProgressCtrl* FindCtrl(const ClientMissionID& key) VELA_REQUIRES(m_mutex);
  bool Report(VelaGnlTask* task, const ClientMissionID& key, int progress, const TaskProgressInfo& info)
      VELA_REQUIRES(m_mutex);
  int OverallProgress(const ClientMissionID& key, const MissionProgressCtrl& ctrl) VELA_REQUIRES(m_mutex);

  vela::Mutex m_mutex;
  // The missions by exact key, and in key order for rounds and wildcards: with thousands of them a walk down
  // the tree would cost as much as the report.
  // The pool keeps them side by side, whatever else was allocated in between.
  std::pmr::unsynchronized_pool_resource m_pool VELA_GUARDED_BY(m_mutex);
  std::pmr::unordered_map<ClientMissionID, MissionProgressCtrl, ExactHash, ExactEqual> m_missions
      VELA_GUARDED_BY(m_mutex){&m_pool};
  MissionMap<MissionProgressCtrl*> m_order VELA_GUARDED_BY(m_mutex);
  MissionSet m_cancelled VELA_GUARDED_BY(m_mutex);
  std::set<std::int32_t> m_missionNumbers VELA_GUARDED_BY(m_mutex);
  // The entries (mission key, task), by task and by key.
  std::unordered_map<VelaGnlTask*, TaskEntry> m_keyOfTask VELA_GUARDED_BY(m_mutex);
  MissionMultimap<VelaGnlTask*> m_tasksOfKey VELA_GUARDED_BY(m_mutex);
};

}  // namespace NSTE_util
