#include "asn1/progress.h"
#include "platform/os/singleton.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/progressmgr_impl.h"
#include "util/basicutil/taskcontext.h"

namespace NSTE_util {

namespace {

constexpr AsnIntType WHOLE_MISSION = 255;

// The client's own address is part of the key, so nobody reaches the missions of others.
bool CancelMissionOf(const TECmdMsg* request, std::int32_t missionNo) {
  const ClientMissionID key = MakeMissionKey(request, missionNo);
  auto* progress = static_cast<ProgressMgrImpl*>(ProgressMgr::Instance());
  const bool runsHere = progress != nullptr && progress->CancelKnownMission(key);
  AsynProgressMgr* asyn = AsynProgressMgr::Instance();
  const bool runsElsewhere = asyn != nullptr && asyn->IsClientMissionRegistered(key, true);
  if (runsElsewhere) asyn->MissionStop(key);
  return runsHere || runsElsewhere;
}

AsnType* NewAbortRequest() {
  return new AsnAbortMissionReq;
}

AsnType* NewAbortResponse() {
  return new AsnAbortMissionRsp;
}

unsigned long HandleAbort(VelaGnlTask* task, const AsnType* msg) {
  const auto& abort = static_cast<const AsnAbortMissionReq&>(*msg);
  const auto missionNo = static_cast<std::int32_t>(static_cast<AsnIntType>(abort.missionID));
  const TECmdMsg* request = task->GetCurReqMsg();
  const bool cancelled = abort.scope == WHOLE_MISSION && CancelMissionOf(request, missionNo);
  if (request->Header().kind != VELA_KIND_REQUEST) return 0;
  AsnAbortMissionRsp rsp;
  rsp.missionID = missionNo;
  rsp.errorCode = cancelled ? 0 : static_cast<std::int32_t>(VELA_ERR_GENERAL);
  return CfgSendRsp(task, rsp);
}

constexpr unsigned char USUAL_TASK_MGR = 1;
constexpr TETaskHandlerStru ABORT_HANDLER = {CMD_ABORT_MISSION, USUAL_TASK_MGR,    "AbortMission",
                                             &NewAbortRequest,  &NewAbortResponse, &HandleAbort};
const TEAutoRegisterTask g_registerAbort(&ABORT_HANDLER);

}  // namespace

}  // namespace NSTE_util
