#include "apps/velactl/audit_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/audit_codes.h"
#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/velactl/audit_options.h"
#include "apps/velactl/audit_report.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inventory_records.h"
#include "apps/velactl/request_session.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_fwd.h"

namespace velactl {
namespace {

using apps::SetText;

void FillRequest(const AuditOptions& options, const std::vector<apps::InventoryRow>& rows,
                 AsnAuditReq& request) {
  request.missionID = static_cast<AsnIntType>(NewMissionID());
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.timeOut = static_cast<AsnIntType>(options.timeOut);
  for (const apps::InventoryRow& row : rows) {
    AsnNERecord& record = *request.records.append();
    FillRecord(row, record);
    SetText(record.position, row.position);
  }
}

// What to say when the audit ended early; empty when it did not.
std::string WhyIncomplete(const AsnAuditRsp& response) {
  if (static_cast<AsnIntType>(response.errorCode) == 0) return {};
  const std::string reason =
      response.reason != nullptr ? response.reason->data() : apps::Text("AUDIT_ENDED_EARLY");
  return apps::Text("AUDIT_INCOMPLETE", {reason});
}

int Audit(const AuditOptions& options, const std::vector<apps::InventoryRow>& rows, char* argv0) {
  AsnAuditReq request;
  FillRequest(options, rows, request);
  AsnAuditRsp response;
  std::string error = AskServer(argv0, options.server,
                                {.command = AUDIT_COMMAND,
                                 .message = request,
                                 .missionID = static_cast<std::int32_t>(request.missionID),
                                 .sending = apps::Text("CLIENT_SENDING", {std::to_string(rows.size())}),
                                 .complete = [&] { return static_cast<AsnIntType>(response.errorCode) == 0; },
                                 .quiet = options.json},
                                response);
  if (!error.empty()) return Fail(error);
  if (!Print(options.json ? AuditJson(response, options.file, rows) : AuditTable(response, rows)))
    return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  error = WhyIncomplete(response);
  return error.empty() ? EXIT_SUCCESS : Fail(error);
}

}  // namespace

int AuditCommand(char* argv0, const std::vector<std::string>& arguments) {
  AuditOptions options;
  std::string error;
  if (!ParseAuditOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("AUDIT_HELP").c_str(), stdout) < 0;
  std::vector<apps::InventoryRow> rows;
  error = ReadRows(options.file, 6, rows);
  if (!error.empty()) return Fail(error);
  return Audit(options, rows, argv0);
}

}  // namespace velactl
