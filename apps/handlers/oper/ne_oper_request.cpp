#include "apps/handlers/oper/ne_oper_request.h"

#include <algorithm>
#include <string>
#include <vector>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/error_list_fit.h"
#include "apps/handlers/lock_refusal.h"
#include "apps/handlers/mission_order.h"
#include "apps/handlers/oper/ne_faults.h"
#include "asn1/error.h"
#include "asn1/ne_oper.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"

namespace velad {
namespace {

using apps::HexCode;
using apps::Number;
using apps::Unsigned;

using NSTE_util::TEOperErrorLogIF;

// Empty when one of them is none, or there are too many.
std::vector<unsigned long> WantedNEs(const AsnNEOperReq& request) {
  std::vector<unsigned long> nes;
  if (request.nes.size() > NE_OPER_MOST_NES) return nes;
  for (const AsnInt& id : request.nes) {
    const auto ne = Unsigned(id);
    if (ne == 0) return {};
    nes.push_back(ne);
  }
  return nes;
}

// Ends the operation as a whole, with one error that says why.
void FailAll(TEOperErrorLogIF& errors, std::uint32_t code, const std::string& text) {
  errors.SetErrCode(code);
  errors.AddErr({}, code, text, {});
}

// The locks are given back before the answer is sent: whoever has it may ask again at once.
void Operate(NSTE_util::TETaskContext& context, TEOperErrorLogIF& errors, const AsnNEOperReq& request,
             NEOper oper) {
  const std::vector<unsigned long> nes = WantedNEs(request);
  if (nes.empty())
    return FailAll(errors, NE_OPER_ERR_BAD_NES,
                   apps::ErrorText(NE_OPER_ERR_BAD_NES, {std::to_string(NE_OPER_MOST_NES)}));
  NEFaults faults;
  std::string reason;
  if (!LoadNEFaults(vela::InstallRoot() + "conf/ne_faults.cfg", faults, reason))
    return FailAll(errors, NE_OPER_ERR_FAULTS, reason);

  const NSTE_util::TEMutexOperNEGuard locks(nes, true);
  if (locks.GetResult() != 0) {
    AddRefusal(errors, locks);
    return;
  }
  NEOperRun run(context, errors, oper, nes, faults,
                std::clamp<std::int64_t>(Number(request.seconds), 0, NE_OPER_MOST_SECONDS));
  run.Run();
}

void LogEnd(const std::string& what, const AsnErrRsp& response) {
  LogProcess::Info(what + ": ended with code " + HexCode(Unsigned(response.errorCode)) + ", " +
                   std::to_string(response.errors.size()) + " errors");
}

}  // namespace

unsigned long ServeNEOper(VelaGnlTask* task, const AsnNEOperReq& request, NEOper oper) {
  NSTE_util::TETaskContext context(task);
  const NSTE_util::TEOperErrorLogGuard frame;
  TEOperErrorLogIF* errors = TEOperErrorLogIF::Instance();
  if (errors == nullptr) return VELA_ERR_STOPPING;
  // Before the locks are taken, so that whoever is refused is told whom to ask.
  context.SetUserID(static_cast<int>(Number(request.userID)));
  context.SetMissionID(static_cast<int>(Number(request.missionID)), false);
  context.SetTimeOut(DeadlineIn(request.timeOut));
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  context.SetMissionDesc(std::string(oper == NEOper::configure ? "configuration" : "inspection") + " of " +
                         std::to_string(request.nes.size()) + " NEs for " + std::to_string(header.srcProcId) +
                         "/" + std::to_string(header.srcHandle));
  LogProcess::Info(context.GetMissionDesc() + ": begins");
  Operate(context, *errors, request, oper);

  AsnErrRsp response;
  if (!errors->GetErrList(&response)) return VELA_ERR_GENERAL;
  FitErrors(response.errors, vela::ConfiguredAsnLimits().maxBytes);
  LogEnd(context.GetMissionDesc(), response);
  return NSTE_util::CfgSendRsp(task, response);
}

}  // namespace velad
