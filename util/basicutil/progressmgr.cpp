#include "asn1/progress.h"
#include "platform/os/singleton.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/progressmgr_impl.h"

namespace NSTE_util {

namespace {

vela::SingletonSlot<ProgressMgr> g_slot;

void Set(AsnOcts& to, const std::string& text) {
  to.Set(text.data(), text.size());
}

bool SaysNothing(const TaskProgressInfo& info) {
  return info.m_nValue == 0 && info.m_strFirst.empty() && info.m_strSecond.empty() && info.m_strThird.empty();
}

void Fill(AsnProgressReportEx& report, std::int32_t missionNo, int progress) {
  report.missionID = missionNo;
  report.progress.Set(progress);
}

void Fill(AsnProgressReportEx& report, const TaskProgressInfo& info) {
  if (SaysNothing(info)) return;
  report.info = new AsnTaskProgressInfo;
  report.info->value = info.m_nValue;
  Set(report.info->first, info.m_strFirst);
  Set(report.info->second, info.m_strSecond);
  Set(report.info->third, info.m_strThird);
}

}  // namespace

ProgressMgr::~ProgressMgr() = default;

ProgressMgr* ProgressMgr::Instance() {
  return g_slot.Instance<ProgressMgrImpl>();
}

void ProgressMgr::Destroy() {
  g_slot.Destroy();
}

std::vector<TERunningMission> ProgressMgr::Missions() {
  auto* mgr = static_cast<ProgressMgrImpl*>(g_slot.Peek());
  return mgr != nullptr ? mgr->Snapshot() : std::vector<TERunningMission>();
}

std::vector<TERunningMission> ProgressMgrImpl::Snapshot() {
  const vela::MutexLock lock(m_mutex);
  MissionMap<TERunningMission> missions;
  for (const auto& [key, ctrl] : m_order)
    missions[key] = {key, ctrl->GetCurProgress(), FindMission(m_cancelled, key) != m_cancelled.end(), {}};
  for (const auto& [task, entry] : m_keyOfTask) {
    const auto mission = FindMission(missions, entry.key);
    if (mission != missions.end()) mission->second.m_tasks.push_back(entry.task);
  }
  std::vector<TERunningMission> all;
  for (auto& [key, mission] : missions) all.push_back(std::move(mission));
  return all;
}

MissionProgressCtrl* ProgressMgrImpl::FindCtrl(const ClientMissionID& key) {
  const auto exact = m_missions.find(key);
  if (exact != m_missions.end()) return &exact->second;
  const auto it = FindMission(m_order, key);
  return it != m_order.end() ? it->second : nullptr;
}

void ProgressMgrImpl::RegisterMission(const ClientMissionID& key, VelaGnlTask* task) {
  const vela::MutexLock lock(m_mutex);
  if (task == nullptr ||
      !m_keyOfTask.emplace(task, TaskEntry{key, {task->GetTaskId(), GetCurrentThreadId()}}).second)
    return;
  m_tasksOfKey.emplace(key, task);
  if (MissionProgressCtrl* known = FindCtrl(key)) {
    *known = MissionProgressCtrl(0);
    return;
  }
  const auto mission = m_missions.emplace(key, MissionProgressCtrl(0)).first;
  m_order.emplace(key, &mission->second);
}

std::optional<ClientMissionID> ProgressMgrImpl::TakeTask(VelaGnlTask* task) {
  const auto entry = m_keyOfTask.find(task);
  if (entry == m_keyOfTask.end()) return std::nullopt;
  const ClientMissionID key = entry->second.key;
  m_keyOfTask.erase(entry);
  auto [it, end] = m_tasksOfKey.equal_range(key);
  while (it != end && it->second != task) ++it;
  if (it != end) m_tasksOfKey.erase(it);
  return key;
}

void ProgressMgrImpl::ForgetTask(VelaGnlTask* task) {
  const vela::MutexLock lock(m_mutex);
  TakeTask(task);
}

void ProgressMgrImpl::EndRequest(VelaGnlTask* task) {
  const vela::MutexLock lock(m_mutex);
  const std::optional<ClientMissionID> key = TakeTask(task);
  if (key && !m_tasksOfKey.contains(*key)) EndMission(*key);
}

void ProgressMgrImpl::UnRegisterTask(VelaGnlTask* task) {
  const vela::MutexLock lock(m_mutex);
  if (const std::optional<ClientMissionID> key = TakeTask(task)) EndMission(*key);
}

void ProgressMgrImpl::EndMission(const ClientMissionID& key) {
  TakeMissions(m_cancelled, key);
  const auto mission = FindMission(m_order, key);
  if (mission == m_order.end()) return;
  m_missions.erase(mission->first);
  m_order.erase(mission);
}

void ProgressMgrImpl::UnRegisterMission(const ClientMissionID& key) {
  const vela::MutexLock lock(m_mutex);
  TakeMissions(m_cancelled, key);
  for (const auto& mission : TakeMissions(m_order, key)) m_missions.erase(mission.first);
  for (const auto& entry : TakeMissions(m_tasksOfKey, key)) m_keyOfTask.erase(entry.second);
}

bool ProgressMgrImpl::IsCanceled(const ClientMissionID& key) {
  if (VelaIsExit()) return true;
  const vela::MutexLock lock(m_mutex);
  return FindMission(m_cancelled, key) != m_cancelled.end();
}

bool ProgressMgrImpl::IsTaskCanceled(VelaGnlTask* task) {
  if (VelaIsExit()) return true;
  const vela::MutexLock lock(m_mutex);
  const auto entry = m_keyOfTask.find(task);
  return entry != m_keyOfTask.end() && FindMission(m_cancelled, entry->second.key) != m_cancelled.end();
}

void ProgressMgrImpl::CancelMission(const ClientMissionID& key) {
  const vela::MutexLock lock(m_mutex);
  m_cancelled.insert(key);
}

bool ProgressMgrImpl::CancelKnownMission(const ClientMissionID& key) {
  const vela::MutexLock lock(m_mutex);
  if (FindCtrl(key) == nullptr) return false;
  m_cancelled.insert(key);
  return true;
}

bool ProgressMgrImpl::Report(VelaGnlTask* task, const ClientMissionID& key, int progress,
                             const TaskProgressInfo& info) {
  MissionProgressCtrl* ctrl = FindCtrl(key);
  if (ctrl == nullptr) {
    TETrace("IN function SendProgress: Get progress ctrl fail, missionID:%d", key.m_nMissionNo);
    return false;
  }
  ctrl->UpdateProgress(progress);
  AsnProgressReportEx report;
  Fill(report, key.m_nMissionNo, ctrl->GetCurProgress());
  Fill(report, info);
  SendReport(task, key, CMD_PROGRESS_REPORT, report);
  return true;
}

bool ProgressMgrImpl::SendProgress(VelaGnlTask* task, const ClientMissionID& key, int progress,
                                   const TaskProgressInfo& info) {
  const vela::MutexLock lock(m_mutex);
  return Report(task, key, progress, info);
}

bool ProgressMgrImpl::SendTaskProgress(VelaGnlTask* task, VelaGnlTask* owner, int progress,
                                       const TaskProgressInfo& info) {
  const vela::MutexLock lock(m_mutex);
  const auto entry = m_keyOfTask.find(owner);
  return entry != m_keyOfTask.end() && Report(task, entry->second.key, progress, info);
}

bool ProgressMgrImpl::SendParalProgress(VelaGnlTask* task, const ClientMissionID& key,
                                        const ParallelTaskProgressInfo& info) {
  const vela::MutexLock lock(m_mutex);
  MissionProgressCtrl* ctrl = FindCtrl(key);
  if (ctrl == nullptr) {
    TETrace("IN function SendParalProgress: Get progress ctrl fail, missionID:%d", key.m_nMissionNo);
    return false;
  }
  ctrl->UpdateProgress(info.m_nProgress);
  AsnParallelTaskProgressReport report;
  report.missionID = key.m_nMissionNo;
  report.progress.Set(ctrl->GetCurProgress());
  Set(report.partName, info.m_strPartName);
  Set(report.partDetail, info.m_strPartDetail);
  SendReport(task, key, CMD_PARALLEL_REPORT, report);
  return true;
}

int ProgressMgrImpl::OverallProgress(const ClientMissionID& key, const MissionProgressCtrl& ctrl) {
  unsigned long missionId = 0;
  AsynProgressMgr* asyn = AsynProgressMgr::Instance();
  if (asyn != nullptr && asyn->FindMissionID(key, missionId) && asyn->IsMissionRegistered(missionId, true))
    return static_cast<int>(asyn->GetMissionProgress(missionId));
  return ctrl.GetCurProgress();
}

void ProgressMgrImpl::SendAllProgress() {
  VelaTask* task = VelaGetCurrentTask();
  const vela::MutexLock lock(m_mutex);
  for (const auto& [key, ctrl] : m_order) {
    AsnProgressReportEx report;
    Fill(report, key.m_nMissionNo, OverallProgress(key, *ctrl));
    TETrace("VelaTaskTimeInterval for send progress!");
    AsnTrace(report, GetDefaultDebugInterface());
    if (key.m_wProcID == 0)
      TETrace("ProgressMgrImpl::SendAllProgress()--, the subID is:%d, the ProcID is:%d", key.m_wReplyAttr,
              key.m_wProcID);
    SendReport(task, key, CMD_PROGRESS_REPORT, report, key.m_wProcID == 0 ? 1 : 2);
  }
}

void ProgressMgrImpl::SetProgressSpan(const ClientMissionID& key, float span) {
  const vela::MutexLock lock(m_mutex);
  if (MissionProgressCtrl* ctrl = FindCtrl(key)) ctrl->SetProgressSpan(span);
}

void ProgressMgrImpl::RestoreProgressSpan(const ClientMissionID& key) {
  const vela::MutexLock lock(m_mutex);
  if (MissionProgressCtrl* ctrl = FindCtrl(key)) ctrl->RestoreProgressSpan();
}

void ProgressMgrImpl::UpdateProgress(const ClientMissionID& key, int progress) {
  const vela::MutexLock lock(m_mutex);
  if (MissionProgressCtrl* ctrl = FindCtrl(key)) ctrl->UpdateProgress(progress);
}

bool ProgressMgrImpl::GetProgress(const ClientMissionID& key, int& progress, float& weight) {
  const vela::MutexLock lock(m_mutex);
  const MissionProgressCtrl* ctrl = FindCtrl(key);
  progress = ctrl != nullptr ? ctrl->GetCurProgress() : 0;
  weight = ctrl != nullptr ? ctrl->GetCurWeight() : 1.0F;
  return ctrl != nullptr;
}

void ProgressMgrImpl::EnterMissionNumber(int missionNo) {
  const vela::MutexLock lock(m_mutex);
  m_missionNumbers.insert(missionNo);
}

void ProgressMgrImpl::RemoveMissionNumber(int missionNo) {
  const vela::MutexLock lock(m_mutex);
  m_missionNumbers.erase(missionNo);
}

bool ProgressMgrImpl::IsMissionNumberEntered(int missionNo) {
  const vela::MutexLock lock(m_mutex);
  return m_missionNumbers.contains(missionNo);
}

}  // namespace NSTE_util
