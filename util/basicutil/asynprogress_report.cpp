#include "util/basicutil/asynprogress_report.h"

#include <algorithm>
#include <memory>

#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/os_types.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/asynprogress_internal.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/asynprogressmgr_impl.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/taskcontext.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "asynprogress_report";
constexpr unsigned char USUAL_TASK_MGR = 1;
constexpr int WATCH_SECONDS = 5;
constexpr int INSERT_STATE = 20;

unsigned long Send(const CProcID& owner, const AsnSubMissionReport& report) {
  AsnTrace(report, GetDefaultDebugInterface());
  if (auto* task = dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask()))
    return task->AsnSendNBC(owner, 0, CMD_SUB_MISSION_REPORT, report, VELA_MSG_FORMAT);
  VelaGnlTask sender("ReportSubMission");
  return sender.AsnSendNBC(owner, 0, CMD_SUB_MISSION_REPORT, report, VELA_MSG_FORMAT);
}

unsigned long Send(const CProcID& owner, unsigned long subMissionId, int percent, unsigned long errorCode,
                   const std::string& text) {
  AsnSubMissionReport report;
  report.subMissionID = static_cast<AsnIntType>(vela::Cut32(subMissionId));
  report.progress = std::clamp(percent, 0, 100);
  report.errorCode = static_cast<AsnIntType>(vela::Cut32(errorCode));
  report.text.Set(text.data(), text.size());
  return Send(owner, report);
}

// False when the process takes no part in the mission, or does not any more.
bool Fold(CProcID source, std::uint32_t id, std::uint32_t percent, const std::string& text) {
  auto* mgr = static_cast<AsynProgressMgrImpl*>(AsynProgressMgr::Instance());
  if (mgr == nullptr) return false;
  const std::uint32_t missionId = id & 0xFFFF0000U;
  const CProcID holder = mgr->FindHolder(id, source).value_or(source);
  if (!mgr->WriteProcProgress(missionId, holder, id, percent)) return false;
  if (!mgr->KnowsWorker({holder, id}, source)) mgr->NoteWorker({holder, id}, source, LifeOfProcess(source));
  const auto told = mgr->TakeFigure(missionId, !text.empty());
  if (!told) return true;
  GetDefaultDebugInterface().PrintF(2, "mission 0x%x: process %s reports %u, folded to %d", missionId,
                                    VelaAddressText(source).c_str(), percent, told->figure);
  TellClient(*told, text);
  return true;
}

void Fail(CProcID source, std::uint32_t id, std::uint32_t code, const std::string& text) {
  auto* mgr = static_cast<AsynProgressMgrImpl*>(AsynProgressMgr::Instance());
  const auto holder = mgr != nullptr ? mgr->FindHolder(id, source) : std::nullopt;
  if (holder) ReportFailure(id & 0xFFFF0000U, *holder, {id}, code, text);
}

AsnType* NewReport() {
  return new AsnSubMissionReport;
}

unsigned long HandleReport(VelaGnlTask* task, const AsnType* msg) {
  const auto& report = static_cast<const AsnSubMissionReport&>(*msg);
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  const CProcID source(header.srcProcId, header.srcHandle);
  const auto id = static_cast<std::uint32_t>(static_cast<AsnIntType>(report.subMissionID));
  const auto code = static_cast<std::uint32_t>(static_cast<AsnIntType>(report.errorCode));
  const auto percent = static_cast<std::uint32_t>(static_cast<AsnIntType>(report.progress));
  if (code != 0)
    Fail(source, id, code, report.text.data());
  else if (!Fold(source, id, percent, report.text.data()))
    return VELA_ERR_GENERAL;
  return 0;
}

constexpr TETaskHandlerStru REPORT_HANDLER = {
    CMD_SUB_MISSION_REPORT, USUAL_TASK_MGR, "SubMissionReport", &NewReport, nullptr, &HandleReport};
const TEAutoRegisterTask g_registerReport(&REPORT_HANDLER);

// Looks after the processes of all missions again and again.
class WatchTask : public VelaGnlTask {
 public:
  WatchTask() : VelaGnlTask("AsynProgressTask") {}

  void VelaTaskCreate() override { WaitForTick(); }

  void VelaTaskTimeInterval(std::uint32_t id) override {
    if (id != m_timer) return;
    CheckMissionProcesses();
    WaitForTick();
  }

 private:
  void WaitForTick() {
    m_timer = SetTaskTimeInterval(WATCH_SECONDS);
    VelaSetTaskState(VELA_TASK_WAITING);
  }

  std::uint32_t m_timer = 0;
};

}  // namespace

unsigned long SendSubMissionProgress(const CProcID& owner, unsigned long subMissionId, int percent,
                                     const std::string& text) {
  return Send(owner, subMissionId, percent, 0, text);
}

unsigned long SendSubMissionFailure(const CProcID& owner, unsigned long subMissionId, unsigned long errorCode,
                                    const std::string& text) {
  const unsigned long code = vela::Cut32(errorCode);
  return Send(owner, subMissionId, 0, code != 0 ? code : VELA_ERR_GENERAL, text);
}

int InitAsynProgressTask(unsigned char taskMgrId) {
  VelaAppMgr* app = VelaAppMgr::Instance();
  VelaTaskMgr* taskMgr = app != nullptr ? app->FindTaskMgrByID(taskMgrId) : nullptr;
  if (!Check(taskMgr != nullptr, UNIT, "0 != pTaskMgr")) return -1;
  SetTaskMgrForCmd(CMD_SUB_MISSION_REPORT, taskMgrId);
  return taskMgr->InsertTask(std::make_unique<WatchTask>(), INSERT_STATE) == 0 ? 0 : -1;
}

}  // namespace NSTE_util
