#include "apps/handlers/lock_refusal.h"

#include <cstdio>
#include <ctime>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/common.h"
#include "util/basicutil/mitlockerr.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/mutex_query.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timeutil.h"

namespace velad {
namespace {

std::string OperationName(int operCode) {
  switch (static_cast<std::uint32_t>(operCode)) {
    case NE_CONFIGURE_COMMAND:
      return apps::Text("OPER_CONFIGURE");
    case NE_INSPECT_COMMAND:
      return apps::Text("OPER_INSPECT");
    case NE_UPLOAD_COMMAND:
      return apps::Text("OPER_UPLOAD");
    case NE_RESET_COMMAND:
      return apps::Text("OPER_RESET");
    default:
      break;
  }
  char code[16];
  std::snprintf(code, sizeof code, "0x%06X", static_cast<unsigned>(operCode));
  return code;
}

std::string LocalTime(vela::WallTime time) {
  std::tm local{};
  NSTE_util::TEUTC2LOCAL(std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count(), local);
  return NSTE_util::DateTime2TEStr(local);
}

std::string BlockerText(const NSTE_util::TEBlockingOper& blocker) {
  const std::string client =
      std::to_string(blocker.m_mission.m_wProcID) + "/" + std::to_string(blocker.m_mission.m_wProcHandle);
  const std::string text =
      apps::Text("LOCK_BLOCKER", {OperationName(blocker.m_nOperCode), std::to_string(blocker.m_nUserID),
                                  client, LocalTime(blocker.m_since)});
  return blocker.m_nProgress < 0 ? text
                                 : apps::Text("LOCK_PROGRESS", {text, std::to_string(blocker.m_nProgress)});
}

}  // namespace

std::string AddRefusal(NSTE_util::TEOperErrorLogIF& errors, const NSTE_util::TEMutexOperNEGuard& locks) {
  const unsigned long code = locks.GetResult();
  errors.SetErrCode(code);
  NSTE_util::TEBlockingOper blocker;
  if (!locks.GetBlocker(blocker)) {
    std::string text = code == VELA_ERR_MEMORY ? std::string() : apps::Text("LOCK_BLOCKER_GONE");
    errors.AddErr({}, code, text, {});
    return text;
  }
  std::string text = BlockerText(blocker);
  errors.AddErr({blocker.m_wantedObject}, code, text, NSTE_util::TENEID2Str(blocker.m_wantedObject.m_nFirst));
  return text;
}

KeptRefusal::KeptRefusal(const std::string& text)
    : m_mgr(NSTE_util::TEMitLockErrMgr::Instance()), m_thread(static_cast<int>(GetCurrentThreadId())) {
  if (m_mgr != nullptr) m_mgr->InsertThrIDandInfo(m_thread, text.c_str());
}

KeptRefusal::~KeptRefusal() {
  if (m_mgr != nullptr) m_mgr->EraseThrIDandInfo(m_thread);
}

void KeptRefusal::Find(std::string& text) const {
  if (m_mgr != nullptr) m_mgr->FindThrInfo(m_thread, text);
}

}  // namespace velad
