// Serves the audit of an inventory (apps/asn1/audit.asn1).
#include <algorithm>
#include <string>
#include <vector>

#include "apps/common/asn_values.h"
#include "apps/handlers/audit/audit_archive.h"
#include "apps/handlers/audit/audit_run.h"
#include "apps/handlers/audit/ne_types.h"
#include "apps/handlers/mission_order.h"
#include "apps/velad/handler_set.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_fwd.h"
#include "platform/config/process_config.h"
#include "platform/config/vela_config.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

using apps::HexCode;
using apps::SetText;

constexpr int kLongestPause = 10000000;  // microseconds
constexpr int kMostReports = 10000;

std::vector<NERecord> Records(const AsnAuditReq& request) {
  std::vector<NERecord> records;
  records.reserve(request.records.size());
  for (const AsnNERecord& r : request.records)
    records.push_back({r.identifier.data(), r.name.data(), r.type.data(), r.address.data(), r.version.data(),
                       r.position.data()});
  return records;
}

std::uint32_t ConfiguredPause() {
  int pause = 0;
  VelaGetRegInt(vela::ProcessConfigFile().c_str(), "AuditRecordMicroseconds", pause);
  return static_cast<std::uint32_t>(std::clamp(pause, 0, kLongestPause));
}

int KeptReports() {
  int kept = 20;
  VelaGetRegInt(vela::ProcessConfigFile().c_str(), "AuditReports", kept);
  return std::clamp(kept, 0, kMostReports);
}

void SetEnd(AsnAuditRsp& response, std::uint32_t code, const std::string& reason) {
  response.errorCode = static_cast<AsnIntType>(code);
  if (!reason.empty()) response.reason = new AsnOcts(reason.data(), reason.size());
}

// As many findings as an answer may hold under the limits that the client checks it against; the rest is
// counted.
void FillFindings(const std::vector<Finding>& findings, const std::vector<NERecord>& records,
                  AsnAuditRsp& response) {
  constexpr std::size_t elementsEach = 6;
  constexpr std::size_t bytesAround = 64;
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  std::size_t elements = elementsEach;
  std::size_t bytes = 1024;
  std::size_t written = 0;
  for (const Finding& finding : findings) {
    const std::string name = Shown(records[finding.record].name, 128);
    elements += elementsEach;
    bytes += bytesAround + name.size() + finding.text.size();
    if (elements > limits.maxElements || bytes > limits.maxBytes) break;
    AsnAuditFinding& out = *response.findings.append();
    out.errorCode = static_cast<AsnIntType>(finding.fault);
    out.record = static_cast<AsnIntType>(finding.record);
    out.otherRecord = finding.other ? static_cast<AsnIntType>(*finding.other) : -1;
    SetText(out.neName, name);
    SetText(out.text, finding.text);
    ++written;
  }
  response.omitted = static_cast<AsnIntType>(findings.size() - written);
}

// For the log, which is in English.
std::string Summary(const AuditRun& run) {
  const std::string found = std::to_string(run.Findings().size()) + " faults found";
  if (run.ErrorCode() == 0) return found;
  return "ended early after " + std::to_string(run.Checked()) + " records, code " + HexCode(run.ErrorCode()) +
         ", " + found;
}

unsigned long HandleAudit(VelaGnlTask* task, const AsnType* request) {
  const auto& audit = static_cast<const AsnAuditReq&>(*request);
  NSTE_util::TETaskContext context(task);
  context.SetUserID(static_cast<int>(audit.userID));
  context.SetMissionID(static_cast<int>(audit.missionID), false);
  context.SetTimeOut(DeadlineIn(audit.timeOut));

  AsnAuditRsp response;
  NETypes types;
  std::string reason;
  if (!LoadNETypes(vela::InstallRoot() + "conf/ne_types.cfg", types, reason)) {
    SetEnd(response, AUDIT_ERR_NO_TYPES, reason);
    return NSTE_util::CfgSendRsp(task, response);
  }
  const std::vector<NERecord> records = Records(audit);
  const VelaCmdMSG& header = task->GetCurReqMsg()->Header();
  context.SetMissionDesc("audit of " + std::to_string(records.size()) + " NEs for " +
                         std::to_string(header.srcProcId) + "/" + std::to_string(header.srcHandle));
  LogProcess::Info(context.GetMissionDesc() + ": begins");
  AuditRun run(context, records, types, ConfiguredPause());
  run.Run();

  response.checked = static_cast<AsnIntType>(run.Checked());
  SetEnd(response, run.ErrorCode(), run.Reason());
  FillFindings(run.Findings(), records, response);
  LogProcess::Info(context.GetMissionDesc() + ": " + Summary(run));
  ArchiveAudit(run, records, CProcID(header.srcProcId, header.srcHandle),
               static_cast<std::int32_t>(audit.missionID), KeptReports());
  return NSTE_util::CfgSendRsp(task, response);
}

const TETaskHandlerStru kAudit = {AUDIT_COMMAND,
                                  kMainTaskMgr,
                                  "audit",
                                  []() -> AsnType* { return new AsnAuditReq; },
                                  []() -> AsnType* { return new AsnAuditRsp; },
                                  HandleAudit};
const TEAutoRegisterTask registerAudit(&kAudit);

}  // namespace
}  // namespace velad
