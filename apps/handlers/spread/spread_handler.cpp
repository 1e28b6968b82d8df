// The owner's side of spread missions: takes the client's request and what the workers report, and lists the
// missions.
#include <utility>

#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/new_message.h"
#include "apps/handlers/spread/spread_book.h"
#include "apps/handlers/spread/spread_result.h"
#include "apps/velad/handler_set.h"
#include "asn1/progress.h"
#include "asn1/spread.h"
#include "platform/config/process_config.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

using apps::SetText;
using apps::Unsigned;

constexpr std::uint32_t kProgressReport = 0x208002;

SpreadOrder Order(const VelaGnlTask* task, const AsnSpreadReq& request) {
  SpreadOrder order;
  ReadMissionOrder(task, request, order);
  const auto onFailure = static_cast<int>(request.onFailure);
  if (onFailure == static_cast<int>(OnPartFailure::move) ||
      onFailure == static_cast<int>(OnPartFailure::stop))
    order.onFailure = static_cast<OnPartFailure>(onFailure);
  order.records = ReadRecords(request.records);
  return order;
}

unsigned long HandleSpread(VelaGnlTask* task, const AsnType* msg) {
  const auto& request = static_cast<const AsnSpreadReq&>(*msg);
  NSTE_util::TETaskContext context(task);
  context.SetUserID(static_cast<int>(request.userID));
  const SpreadConfig config = LoadSpreadConfig(vela::ProcessConfigFile());
  std::uint32_t code = SPREAD_ERR_TWICE;
  if (const SpreadOrder order = Order(task, request); !SpreadBook::Instance().Has(order.client)) {
    context.SetMissionID(static_cast<int>(request.missionID), false);
    code = SpreadBook::Instance().Start(order, config);
  }
  AsnSpreadRsp response;
  response.errorCode = static_cast<AsnIntType>(code);
  const std::string reason = apps::ErrorText(code, {VelaAddressText({VelaGetProcId(), VelaGetProcHandle()})});
  SetText(response.reason, reason);
  return NSTE_util::CfgSendRsp(task, response);
}

unsigned long HandleProgress(VelaGnlTask* task, const AsnType* msg) {
  const auto& report = static_cast<const AsnProgressReportEx&>(*msg);
  const auto id = Unsigned(report.missionID);
  const auto mission = SpreadBook::Instance().Find(id);
  // Who was given up goes on in vain.
  if (mission == nullptr || !mission->OnProgress(RequestSource(task), id, static_cast<int>(report.progress)))
    AbortSubMission(RequestSource(task), id);
  return 0;
}

unsigned long HandlePieceEnd(VelaGnlTask* task, const AsnType* msg) {
  const auto& end = static_cast<const AsnSpreadPieceEnd&>(*msg);
  const auto id = Unsigned(end.subMissionID);
  if (const auto mission = SpreadBook::Instance().Find(id)) mission->OnEnd(RequestSource(task), end);
  return 0;
}

void Fill(const NSTE_util::MissionStatus& status, AsnMission& mission) {
  mission.missionID = static_cast<AsnIntType>(status.missionId);
  mission.clientMission = status.client.m_nMissionNo;
  mission.client = status.client.m_wProcID;
  mission.clientHandle = status.client.m_wProcHandle;
  SetText(mission.owner, status.owner);
  mission.percent = static_cast<AsnIntType>(status.percent);
  mission.age = static_cast<AsnIntType>(status.age);
  for (const NSTE_util::MissionPart& part : status.parts) {
    AsnMissionPart& one = *mission.parts.append();
    one.process = part.process.Number();
    one.handle = part.process.Handle();
    one.percent = part.percent;
    one.pieces = static_cast<AsnIntType>(part.subMissions);
    one.stopped = part.stopped ? 1 : 0;
    one.errorCode = static_cast<AsnIntType>(part.errorCode);
  }
}

unsigned long HandleList(VelaGnlTask* task, const AsnType*) {
  AsnMissionListRsp response;
  for (const NSTE_util::MissionStatus& status : NSTE_util::ListMissions())
    Fill(status, *response.missions.append());
  return NSTE_util::CfgSendRsp(task, response);
}

const TETaskHandlerStru kHandlers[] = {
    {SPREAD_COMMAND, kMainTaskMgr, "spread", New<AsnSpreadReq>, New<AsnSpreadRsp>, HandleSpread},
    {kProgressReport, kServiceTaskMgr, "spreadProgress", New<AsnProgressReportEx>, nullptr, HandleProgress},
    {SPREAD_PIECE_END_COMMAND, kServiceTaskMgr, "spreadPieceEnd", New<AsnSpreadPieceEnd>, nullptr,
     HandlePieceEnd},
    {MISSION_LIST_COMMAND, kServiceTaskMgr, "missionList", New<AsnMissionListReq>, New<AsnMissionListRsp>,
     HandleList},
};
const TEAutoRegisterTask registerSpread(&kHandlers[0]);
const TEAutoRegisterTask registerProgress(&kHandlers[1]);
const TEAutoRegisterTask registerPieceEnd(&kHandlers[2]);
const TEAutoRegisterTask registerList(&kHandlers[3]);

}  // namespace
}  // namespace velad
