// The session service: keeps account of the missions on NEs that servers report, and lists them.
#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/new_message.h"
#include "apps/handlers/session/session_book.h"
#include "apps/velad/handler_set.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

using apps::Unsigned;

unsigned long HandleOper(VelaGnlTask* task, const AsnType* msg) {
  const auto& report = static_cast<const AsnSessionOper&>(*msg);
  SessionOper oper;
  oper.client = CProcID(static_cast<std::uint16_t>(Unsigned(report.client)),
                        static_cast<std::uint16_t>(Unsigned(report.handle)));
  oper.userID = static_cast<int>(report.userID);
  oper.missionID = static_cast<int>(report.missionID);
  oper.operation = Unsigned(report.operation);
  oper.nes = static_cast<int>(report.nes);
  oper.ended = Unsigned(report.ended) != 0;
  oper.errorCode = Unsigned(report.errorCode);
  oper.time = Unsigned(report.time);
  oper.server = RequestSource(task);
  oper.life = LifeOfProcess(oper.server);
  SessionBook::Instance().Put(oper);
  return 0;
}

void Fill(const SessionOper& from, AsnSessionOper& to) {
  to.client = from.client.Number();
  to.handle = from.client.Handle();
  to.userID = from.userID;
  to.missionID = from.missionID;
  to.operation = static_cast<AsnIntType>(from.operation);
  to.nes = from.nes;
  to.ended = from.ended ? 1 : 0;
  to.errorCode = static_cast<AsnIntType>(from.errorCode);
  to.time = static_cast<AsnIntType>(from.time);
}

unsigned long HandleList(VelaGnlTask* task, const AsnType* msg) {
  NSTE_util::TETaskContext context(task);
  context.SetUserID(static_cast<int>(static_cast<const AsnSessionListReq&>(*msg).userID));
  AsnSessionListRsp response;
  for (const SessionOper& oper : SessionBook::Instance().List()) Fill(oper, *response.operations.append());
  return NSTE_util::CfgSendRsp(task, response);
}

// Reports must not be overtaken by others of the same server: one worker takes them.
const TETaskHandlerStru kOper = {SESSION_OPER_COMMAND, kServiceTaskMgr, "sessionOper",
                                 New<AsnSessionOper>,  nullptr,         HandleOper};
const TETaskHandlerStru kList = {SESSION_LIST_COMMAND,   kServiceTaskMgr,        "sessionList",
                                 New<AsnSessionListReq>, New<AsnSessionListRsp>, HandleList};
const TEAutoRegisterTask registerOper(&kOper);
const TEAutoRegisterTask registerList(&kList);

}  // namespace
}  // namespace velad
