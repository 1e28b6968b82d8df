#include "apps/handlers/nemgr/piece.h"

#include <chrono>
#include <string>
#include <thread>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/handlers/error_list_fit.h"
#include "apps/handlers/mission_messages.h"
#include "apps/handlers/mission_order.h"
#include "apps/handlers/ne_mission_code.h"
#include "apps/handlers/nemgr/ne_work.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogress_report.h"
#include "util/basicutil/progress_if.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"

namespace velad {
namespace {

using apps::HexCode;
using apps::SetText;
using apps::Unsigned;

// An owner that is busy takes its messages later.
constexpr int kMostTries = 100;
constexpr std::chrono::milliseconds kBetweenTries{100};

struct PieceEnd {
  std::uint32_t code = 0;
  std::string reason;
};

const AsnPieceShare* OwnShare(const AsnNEPieceReq& request) {
  for (const AsnPieceShare& share : request.shares)
    if (Unsigned(share.process) == VelaGetProcId() && Unsigned(share.handle) == VelaGetProcHandle())
      return &share;
  return nullptr;
}

PieceEnd WhyNot(const AsnNEPieceReq& request, NEFaults& faults) {
  const std::uint32_t operation = Unsigned(request.operation);
  if (operation != NE_UPLOAD_COMMAND && operation != NE_RESET_COMMAND)
    return {VELA_ERR_GENERAL, "operation " + std::to_string(operation) + " is neither an upload nor a reset"};
  if (request.nes.size() > NE_MISSION_MOST_NES)
    return {NE_MISSION_ERR_BAD_NES,
            apps::ErrorText(NE_MISSION_ERR_BAD_NES, {std::to_string(NE_MISSION_MOST_NES)})};
  PieceEnd end;
  if (!LoadNEFaults(vela::InstallRoot() + "conf/ne_faults.cfg", faults, end.reason))
    end.code = NE_OPER_ERR_FAULTS;
  return end;
}

void AddResult(const NEDone& done, AsnNEResultList& results) {
  AsnNEResult& result = *results.append();
  result.ne = static_cast<AsnIntType>(done.ne);
  result.errorCode = static_cast<AsnIntType>(done.errorCode);
  SetText(result.version, done.version);
  SetText(result.file, done.file);
  result.boards = static_cast<AsnIntType>(done.boards);
  result.ports = static_cast<AsnIntType>(done.ports);
  result.alarms = static_cast<AsnIntType>(done.alarms);
  result.millis = static_cast<AsnIntType>(done.time.count());
}

// The share of the mission that this process does, as the root of what its NEs and their boards report.
PieceEnd WorkOnAll(PieceFrame& frame, long subMission, const AsnNMSNEIdList& nes, AsnNEResultList& results) {
  const NSTE_util::TEOperProgressRegister whole(subMission, &nes, 100, 0);
  NSTE_util::TEOperProgressIF::Instance()->SendProgress(&nes, 0, nullptr, true);  // it has begun
  std::size_t done = 0;
  for (const AsnInt& id : nes) {
    NEWork work(frame, Unsigned(id));
    if (!work.Run(&nes, ShareOf(done, nes.size()))) break;
    if (work.Done().errorCode != 0) frame.errors.SetErrCode(NE_MISSION_ERR_FAILED);
    AddResult(work.Done(), results);
    ++done;
  }
  const std::uint32_t code = done < nes.size() ? NEMissionCode(frame.watch.Ended()) : 0;
  return {code, code == 0 ? "" : apps::ErrorText(code, {std::to_string(done), std::to_string(nes.size())})};
}

unsigned long SendEnd(VelaGnlTask* task, CProcID owner, const AsnNEPieceEnd& end) {
  const std::uint32_t code = Unsigned(end.errorCode);
  // The mission's watch is told why a part that did not begin, or may not go on here, has failed.
  if (code != 0 && code != NE_MISSION_ERR_CANCELED && code != NE_MISSION_ERR_TIMEOUT)
    NSTE_util::SendSubMissionFailure(owner, Unsigned(end.subMissionID), code, end.reason.data());
  unsigned long sent = VELA_ERR_OVERLOAD;
  for (int i = 0; i < kMostTries && sent == VELA_ERR_OVERLOAD; ++i) {
    if (i != 0) std::this_thread::sleep_for(kBetweenTries);
    sent = task->AsnSendNBC(owner, 0, NE_PIECE_END_COMMAND, end, VELA_MSG_FORMAT);
  }
  return sent;
}

void LogEnd(const std::string& what, const AsnNEPieceEnd& end) {
  LogProcess::Info(what + ": ends with code " + HexCode(Unsigned(end.errorCode)) + " after " +
                   std::to_string(end.results.size()));
}

}  // namespace

unsigned long ServePiece(VelaGnlTask* task, const AsnNEPieceReq& request, const Network& network) {
  NSTE_util::TETaskContext context(task);
  const NSTE_util::TEOperErrorLogGuard errorFrame;
  const NSTE_util::TETimeLogGuard timeLog("NE piece");
  NSTE_util::TEOperErrorLogIF* errors = NSTE_util::TEOperErrorLogIF::Instance();
  const AsnPieceShare* share = OwnShare(request);
  const CProcID owner = RequestSource(task);
  if (errors == nullptr) return VELA_ERR_STOPPING;
  if (share == nullptr) {
    LogProcess::Error("a piece of " + VelaAddressText(owner) + " has no share of this process");
    return VELA_ERR_GENERAL;
  }
  const std::uint32_t subMission = Unsigned(share->subMissionID);
  context.SetUserID(static_cast<int>(request.userID));
  context.SetMissionID(static_cast<int>(subMission), false);
  context.SetTimeOut(DeadlineIn(request.timeOut));
  context.SetMissionDesc("piece of " + std::to_string(request.nes.size()) + " NEs for " +
                         VelaAddressText(owner));
  LogProcess::Info(context.GetMissionDesc() + ": begins");

  AsnNEPieceEnd end;
  end.subMissionID = static_cast<AsnIntType>(subMission);
  NEFaults faults;
  PieceEnd why = WhyNot(request, faults);
  RequestWatch watch(context);
  if (why.code == 0) {
    PieceFrame frame{Unsigned(request.operation), network, faults, *errors, watch};
    why = WorkOnAll(frame, static_cast<long>(subMission), request.nes, end.results);
  }
  end.errorCode = static_cast<AsnIntType>(why.code);
  SetText(end.reason, why.reason);
  if (!FillReport(*errors, vela::ConfiguredAsnLimits().maxBytes / 2, end.report) && why.code == 0)
    end.errorCode = static_cast<AsnIntType>(VELA_ERR_GENERAL);
  LogEnd(context.GetMissionDesc(), end);
  // The next process at the owner's address may have a mission of the same number.
  if (watch.LookAtClient()) return 0;
  return SendEnd(task, owner, end);
}

}  // namespace velad
