#include "util/basicutil/progress_api.h"

#include "asn1/progress.h"
#include "platform/message/te_cmd_msg.h"
#include "platform/os/os_types.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

namespace NSTE_util {

namespace {

constexpr const char* UNIT = "progress_api";
constexpr std::int32_t NO_MISSION = -1;

const TECmdMsg* RequestOf(const VelaGnlTask* task) {
  return task != nullptr ? task->GetCurReqMsg() : nullptr;
}

std::int32_t MissionNo(long missionID) {
  return static_cast<std::int32_t>(vela::Cut32(static_cast<unsigned long>(missionID)));
}

}  // namespace

void SendProgress(int progress) {
  if (TETaskContext* context = GetTaskContext()) context->SendProgress(progress);
}

void SendProgress(int progress, const std::string& info) {
  if (TETaskContext* context = GetTaskContext()) context->SendProgress(progress, TaskProgressInfo(info));
}

bool IsTaskCanceled() {
  const TETaskContext* context = GetTaskContext();
  return context != nullptr && context->IsCanceled();
}

void SendTaskFinishNotify(unsigned long missionID) {
  auto* task = dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask());
  if (task == nullptr) return;
  AsnTaskFinishNotify notify;
  notify.missionID = static_cast<std::int32_t>(vela::Cut32(missionID));
  AsnTrace(notify, GetDefaultDebugInterface());
  task->AsnSendBC(VELA_CLIENT_GROUP, 0, CMD_TASK_FINISH, notify, VELA_MSG_FORMAT);
}

ProgressSpanGuard::ProgressSpanGuard(int span) {
  Open(static_cast<float>(span));
}

ProgressSpanGuard::ProgressSpanGuard(float span) {
  Open(span);
}

ProgressSpanGuard::~ProgressSpanGuard() {
  Close();
}

void ProgressSpanGuard::ResetSpan(int span) {
  ResetSpan(static_cast<float>(span));
}

void ProgressSpanGuard::ResetSpan(float span) {
  Close();
  Open(span);
}

void ProgressSpanGuard::Open(float span) {
  TETaskContext* context = GetTaskContext();
  if (context == nullptr || !MissionProgressCtrl::IsSpan(span)) return;
  context->SetProgressSpan(span);
  m_bActive = true;
}

void ProgressSpanGuard::Close() {
  if (!m_bActive) return;
  m_bActive = false;
  if (TETaskContext* context = GetTaskContext()) context->RestoreProgressSpan();
}

TEProgressGuage::TEProgressGuage(VelaGnlTask* task, long missionID) : m_pTask(task) {
  ProgressMgr* mgr = ProgressMgr::Instance();
  if (mgr == nullptr) return;
  const TECmdMsg* request = RequestOf(task);
  const std::uint16_t reply = request != nullptr ? request->Header().module : std::uint16_t{0};
  mgr->RegisterMission(MakeMissionKey(request, MissionNo(missionID), reply), task);
}

TEProgressGuage::~TEProgressGuage() {
  try {
    if (ProgressMgr* mgr = ProgressMgr::Instance()) mgr->UnRegisterTask(m_pTask);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
  }
}

bool TEProgressGuage::IsCancel() const {
  ProgressMgr* mgr = ProgressMgr::Instance();
  return mgr != nullptr && mgr->IsTaskCanceled(m_pTask);
}

bool TEProgressGuage::SendProgress(int progress, const char* text) {
  ProgressMgr* mgr = ProgressMgr::Instance();
  return mgr != nullptr && mgr->SendTaskProgress(m_pTask, m_pTask, progress, TaskProgressInfo(text));
}

TEEthProgressTool::TEEthProgressTool(VelaGnlTask* task, ProgressMgr* mgr, long missionID, unsigned a,
                                     unsigned b) {
  Setvalue(task, mgr, missionID, a, b);
}

TEEthProgressTool::~TEEthProgressTool() {
  try {
    LeaveMission();
  } catch (...) {  // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
  }
}

void TEEthProgressTool::LeaveMission() {
  if (m_nTimesSet == 0 || m_missionKey.m_nMissionNo == NO_MISSION || m_pProgressMgr == nullptr) return;
  m_pProgressMgr->UnRegisterMission(m_missionKey);
}

void TEEthProgressTool::Setvalue(VelaGnlTask* task, ProgressMgr* mgr, long missionID, unsigned a,
                                 unsigned b) {
  Check(task != nullptr && mgr != nullptr, UNIT, "pTask && pProgressMgr");
  LeaveMission();
  ++m_nTimesSet;
  m_pTask = task;
  m_pProgressMgr = mgr;
  m_nLastProgress = NOTHING_SENT;
  m_nFirst = a;
  m_nSecond = b;
  m_missionKey = MakeMissionKey(RequestOf(task), MissionNo(missionID));
  if (m_missionKey.m_nMissionNo != NO_MISSION && mgr != nullptr) mgr->RegisterMission(m_missionKey, task);
}

void TEEthProgressTool::SendProgress(unsigned progress, const char* text) {
  if (progress > 100 || m_pProgressMgr == nullptr || m_pTask == nullptr) return;
  if (progress == m_nLastProgress) return;
  m_pProgressMgr->SendTaskProgress(m_pTask, m_pTask, static_cast<int>(progress), TaskProgressInfo(text));
  m_nLastProgress = progress;
}

bool TEEthProgressTool::IsNeedAbort() const {
  return m_pProgressMgr != nullptr && m_pProgressMgr->IsTaskCanceled(m_pTask);
}

}  // namespace NSTE_util
