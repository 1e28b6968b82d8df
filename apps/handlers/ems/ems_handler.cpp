// The EMS's side of missions on NEs: takes the client's request and what the NE managers report.
#include <algorithm>
#include <string>
#include <utility>

#include "apps/asn1/nms_codes.h"
#include "apps/asn1/spread_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/ems/ne_mission.h"
#include "apps/handlers/ems/ne_mission_book.h"
#include "apps/handlers/ems/ne_records.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/new_message.h"
#include "apps/velad/handler_set.h"
#include "asn1/nms.h"
#include "asn1/progress.h"
#include "platform/config/process_config.h"
#include "platform/log/log_process.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogress_report.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"

namespace velad {
namespace {

using apps::HexCode;
using apps::Unsigned;

constexpr std::uint32_t kProgressReport = 0x208002;

NEOrder ReadOrder(const VelaGnlTask* task, const AsnNEMissionReq& request) {
  NEOrder order;
  ReadMissionOrder(task, request, order);
  order.operation = task->GetCurReqMsg()->Header().cmdCode;
  for (const AsnInt& ne : request.nes) order.nes.push_back(Unsigned(ne));
  std::sort(order.nes.begin(), order.nes.end());
  order.nes.erase(std::unique(order.nes.begin(), order.nes.end()), order.nes.end());
  return order;
}

std::string Describe(const VelaGnlTask* task, const NEOrder& order) {
  return std::string(order.IsUpload() ? "upload" : "reset") + " of " +
         (order.nes.empty() ? "all" : std::to_string(order.nes.size())) + " NEs for " +
         VelaAddressText(RequestSource(task));
}

unsigned long HandleMission(VelaGnlTask* task, const AsnType* msg) {
  const auto& request = static_cast<const AsnNEMissionReq&>(*msg);
  NSTE_util::TETaskContext context(task);
  const NSTE_util::TEOperErrorLogGuard frame;
  auto* errors = NSTE_util::TEOperErrorLogIF::Instance();
  if (errors == nullptr) return VELA_ERR_STOPPING;
  const NEOrder order = ReadOrder(task, request);
  const std::string what = Describe(task, order);
  const NSTE_util::TETimeLogGuard time(what);
  // Before the locks are taken, so that whoever is refused is told whom to ask.
  context.SetUserID(order.userID);
  context.SetTimeOut(order.deadline);
  context.SetMissionDesc(what);
  LogProcess::Info(what + ": begins");

  NEMission mission(context, *errors, order, LoadNEMissionConfig(vela::ProcessConfigFile()));
  const NEMissionEntry entry(order.client);
  std::uint32_t code = 0;
  if (entry.IsEntered()) {
    context.SetMissionID(order.client.m_nMissionNo, false);
    code = mission.Run();
  } else {
    code = mission.Refuse(
        SPREAD_ERR_TWICE,
        apps::ErrorText(SPREAD_ERR_TWICE, {VelaAddressText({VelaGetProcId(), VelaGetProcHandle()})}));
  }
  LogProcess::Info(what + ": ended with code " + HexCode(code));

  AsnNEMissionRsp response;
  response.errorCode = static_cast<AsnIntType>(code);
  if (!mission.FillAnswer(response)) return VELA_ERR_GENERAL;
  return NSTE_util::CfgSendRsp(task, response);
}

unsigned long HandleProgress(VelaGnlTask* task, const AsnType* msg) {
  const auto& report = static_cast<const AsnProgressReportEx&>(*msg);
  const std::uint32_t id = Unsigned(report.missionID);
  const CProcID source = RequestSource(task);
  if (const auto inbox = NEMissionBook::Instance().Find(source, id))
    inbox->PutProgress({source, id}, static_cast<int>(report.progress));
  else
    AbortSubMission(source, id);  // who was given up goes on in vain
  return 0;
}

unsigned long HandlePieceEnd(VelaGnlTask* task, const AsnType* msg) {
  const auto& end = static_cast<const AsnNEPieceEnd&>(*msg);
  const std::uint32_t id = Unsigned(end.subMissionID);
  const CProcID source = RequestSource(task);
  if (const auto inbox = NEMissionBook::Instance().Find(source, id))
    inbox->PutEnd({source, id},
                  {Unsigned(end.errorCode), end.reason.data(), ReadResults(end.results), end.report.data()});
  return 0;
}

const TETaskHandlerStru kHandlers[] = {
    {NE_UPLOAD_COMMAND, kMainTaskMgr, "upload", New<AsnNEMissionReq>, New<AsnNEMissionRsp>, HandleMission},
    {NE_RESET_COMMAND, kMainTaskMgr, "reset", New<AsnNEMissionReq>, New<AsnNEMissionRsp>, HandleMission},
    {kProgressReport, kServiceTaskMgr, "pieceProgress", New<AsnProgressReportEx>, nullptr, HandleProgress},
    {NE_PIECE_END_COMMAND, kServiceTaskMgr, "pieceEnd", New<AsnNEPieceEnd>, nullptr, HandlePieceEnd},
};
const TEAutoRegisterTask registerUpload(&kHandlers[0]);
const TEAutoRegisterTask registerReset(&kHandlers[1]);
const TEAutoRegisterTask registerProgress(&kHandlers[2]);
const TEAutoRegisterTask registerPieceEnd(&kHandlers[3]);

}  // namespace
}  // namespace velad

// Reports of sub-missions and the answers of file services are served beside the missions, which wait for
// them.
extern "C" VELA_HANDLER_SET_EXPORT unsigned long VelaStartHandlerSet() {
  if (NSTE_util::InitAsynProgressTask(kServiceTaskMgr) != 0) return VELA_ERR_GENERAL;
  NSTE_util::CVelaAppFile::RegUsingCVelaAppFile(kServiceTaskMgr, false);
  return 0;
}
