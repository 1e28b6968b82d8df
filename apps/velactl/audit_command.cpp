#include "apps/velactl/audit_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "apps/common/texts.h"
#include "apps/velactl/audit_options.h"
#include "apps/velactl/audit_report.h"
#include "apps/velactl/audit_session.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inventory.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_fwd.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

void SetOcts(AsnOcts& octs, const std::string& text) {
  octs.Set(text.data(), text.size());
}

void FillRequest(const AuditOptions& options, const std::vector<InventoryRow>& rows, AsnAuditReq& request) {
  request.missionID = static_cast<AsnIntType>((VelaGetTickCount() & 0x3FFFFFFF) + 1);
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.timeOut = static_cast<AsnIntType>(options.timeOut);
  for (const InventoryRow& row : rows) {
    AsnNERecord& record = *request.records.append();
    SetOcts(record.identifier, row.identifier);
    SetOcts(record.name, row.name);
    SetOcts(record.type, row.type);
    SetOcts(record.address, row.address);
    SetOcts(record.version, row.version);
    SetOcts(record.position, row.position);
  }
}

// Whether the server's limits let one request carry them; an upper bound of its size.
bool FitsOneRequest(const std::vector<InventoryRow>& rows) {
  constexpr std::size_t elementsEach = 7;
  constexpr std::size_t headersEach = 40;
  std::size_t bytes = 64;
  for (const InventoryRow& row : rows)
    bytes += headersEach + row.identifier.size() + row.name.size() + row.type.size() + row.address.size() +
             row.version.size() + row.position.size();
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  return bytes <= limits.maxBytes && rows.size() * elementsEach + 8 <= limits.maxElements;
}

// What to say when the audit ended early; empty when it did not.
std::string WhyIncomplete(const AsnAuditRsp& response) {
  if (static_cast<AsnIntType>(response.errorCode) == 0) return {};
  const std::string reason =
      response.reason != nullptr ? response.reason->data() : apps::Text("AUDIT_ENDED_EARLY");
  return apps::Text("AUDIT_INCOMPLETE", {reason});
}

int Audit(const AuditOptions& options, const std::vector<InventoryRow>& rows, char* argv0) {
  AuditSession::HoldSignals();
  ClientProcess process;
  std::string error;
  if (!process.Start(argv0, error)) return Fail(error);
  const auto server = ClientProcess::FindServer(options.process, options.handle);
  if (!server) {
    const std::string handle = options.handle != 0 ? "/" + std::to_string(options.handle) : "";
    return Fail(
        apps::Text("CLIENT_NO_SERVER", {std::to_string(options.process) + handle, vela::InstallRoot()}));
  }

  AsnAuditReq request;
  FillRequest(options, rows, request);
  AsnAuditRsp response;
  AuditSession session(request, *server, options.json);
  const std::uint32_t result = session.Run(response);
  if (session.ServerGone() && result != 0) return Fail(apps::Text("SERVER_ENDED", {AddressText(*server)}));
  if (result != 0) return Fail(WhyFailed(result, *server));

  const std::string text =
      options.json ? AuditJson(response, options.file, rows) : AuditTable(response, rows);
  const bool printed =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!printed) return Fail(apps::Text("AUDIT_NOT_WRITTEN"));
  error = WhyIncomplete(response);
  return error.empty() ? EXIT_SUCCESS : Fail(error);
}

}  // namespace

int AuditCommand(char* argv0, const std::vector<std::string>& arguments) {
  AuditOptions options;
  std::string error;
  if (!ParseAuditOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("AUDIT_HELP").c_str(), stdout) < 0;
  std::vector<InventoryRow> rows;
  if (!ReadInventory(options.file, rows, error)) return Fail(apps::Text("AUDIT_NOTHING_SENT", {error}));
  if (!FitsOneRequest(rows))
    return Fail(apps::Text("AUDIT_TOO_MANY", {options.file, std::to_string(rows.size())}));
  return Audit(options, rows, argv0);
}

}  // namespace velactl
