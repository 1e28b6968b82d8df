// The worker's side of spread missions: checks one piece and sends what it has found to the owner.
#include <string>
#include <vector>

#include "apps/asn1/audit_codes.h"
#include "apps/asn1/spread_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/audit/ne_types.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/mission_order.h"
#include "apps/handlers/spread/spread_config.h"
#include "apps/handlers/spread/spread_result.h"
#include "apps/handlers/spread/spread_work.h"
#include "apps/velad/handler_set.h"
#include "asn1/spread.h"
#include "platform/config/process_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogress_report.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

using apps::Unsigned;

// An owner that is busy takes its messages later.
constexpr int kMostTries = 100;
constexpr unsigned kBetweenTries = 100000;  // microseconds

std::uint32_t EndCode(RequestEnd end) {
  if (end == RequestEnd::none) return 0;
  return end == RequestEnd::timeOut ? AUDIT_ERR_TIMEOUT : AUDIT_ERR_CANCELED;
}

unsigned long SendEnd(VelaGnlTask* task, CProcID owner, std::uint32_t id, SpreadWork& work) {
  AsnSpreadPieceEnd end;
  end.subMissionID = static_cast<AsnIntType>(id);
  end.checked = static_cast<AsnIntType>(work.Checked());
  end.errorCode = static_cast<AsnIntType>(EndCode(work.End()));
  end.omitted = static_cast<AsnIntType>(FillFindings(work.Findings(), end.findings));
  unsigned long code = VELA_ERR_OVERLOAD;
  for (int i = 0; i < kMostTries && code == VELA_ERR_OVERLOAD; ++i) {
    if (i != 0) work.Rest(kBetweenTries);
    code = task->AsnSendNBC(owner, 0, SPREAD_PIECE_END_COMMAND, end, VELA_MSG_FORMAT);
  }
  return code;
}

// The failure goes to the mission's watch, which says why, and the end to the mission: the watch is silent
// about what was stopped.
unsigned long SendFailure(VelaGnlTask* task, CProcID owner, std::uint32_t id, std::uint32_t code,
                          const std::string& reason) {
  NSTE_util::SendSubMissionFailure(owner, id, code, reason);
  AsnSpreadPieceEnd end;
  end.subMissionID = static_cast<AsnIntType>(id);
  end.checked = 0;
  end.errorCode = static_cast<AsnIntType>(code);
  end.omitted = 0;
  return task->AsnSendNBC(owner, 0, SPREAD_PIECE_END_COMMAND, end, VELA_MSG_FORMAT);
}

unsigned long HandlePiece(VelaGnlTask* task, const AsnType* msg) {
  const auto& request = static_cast<const AsnSpreadPieceReq&>(*msg);
  const auto id = Unsigned(request.subMissionID);
  const CProcID owner = RequestSource(task);
  NSTE_util::TETaskContext context(task);
  context.SetUserID(static_cast<int>(request.userID));
  context.SetMissionID(static_cast<int>(id), false);
  context.SetTimeOut(DeadlineIn(request.timeOut));

  NETypes types;
  std::string reason;
  if (!LoadNETypes(vela::InstallRoot() + "conf/ne_types.cfg", types, reason))
    return SendFailure(task, owner, id, AUDIT_ERR_NO_TYPES, reason);
  const SpreadConfig config = LoadSpreadConfig(vela::ProcessConfigFile());
  const std::vector<NERecord> records = ReadRecords(request.records);
  const std::string what =
      "piece of " + std::to_string(records.size()) + " NEs for " + VelaAddressText(owner);
  LogProcess::Info(what + ": begins");
  RequestWatch watch(context);
  SpreadWork work(watch, static_cast<int>(id), records, types, config.recordMicroseconds);
  work.Run();
  if (config.answerMicroseconds != 0) work.Rest(config.answerMicroseconds);
  LogProcess::Info(what + ": ends after " + std::to_string(work.Checked()));
  if (watch.LookAtClient()) return 0;  // whoever lives at the owner's address now has not asked for it
  if (work.End() == RequestEnd::stopping)
    return SendFailure(
        task, owner, id, AUDIT_ERR_STOPPING,
        apps::Text("SPREAD_PART_STOPPING", {VelaAddressText({VelaGetProcId(), VelaGetProcHandle()})}));
  return SendEnd(task, owner, id, work);
}

const TETaskHandlerStru kPiece = {SPREAD_PIECE_COMMAND,
                                  kMainTaskMgr,
                                  "spreadPiece",
                                  []() -> AsnType* { return new AsnSpreadPieceReq; },
                                  nullptr,
                                  HandlePiece};
const TEAutoRegisterTask registerPiece(&kPiece);

}  // namespace
}  // namespace velad
