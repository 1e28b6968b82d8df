#include "apps/velactl/audit_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "apps/velactl/audit_options.h"
#include "apps/velactl/audit_report.h"
#include "apps/velactl/audit_session.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/inventory.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_fwd.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"

namespace velactl {
namespace {

constexpr char kHelp[] =
    "velactl audit - check an inventory of NEs on a server\n"
    "\n"
    "usage: velactl audit FILE [--process N[/HANDLE]] [--timeout S] [--json]\n"
    "\n"
    "  FILE        CSV with the columns identifier, name, type, address, version and position, named by its\n"
    "              first line\n"
    "  --process   number of the server process, and which instance of it; by default 100 and any\n"
    "  --timeout   seconds after which the audit ends with what it has found\n"
    "  --json      print the result as JSON\n"
    "\n"
    "Prints the faults to standard output, the progress to standard error. Ctrl-C cancels the audit and "
    "prints\n"
    "what was found so far; a second one leaves at once. Exit code 0 when the audit ran to its end, 1 when "
    "not\n"
    "(the reason is on standard error), 130 after a second Ctrl-C.\n";

int Fail(const std::string& reason) {
  std::fprintf(stderr, "velactl: %s\n", vela::EscapeControls(reason).c_str());
  return EXIT_FAILURE;
}

std::string AddressText(CProcID process) {
  return std::to_string(process.Number()) + "/" + std::to_string(process.Handle());
}

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

std::string WhyFailed(std::uint32_t code, CProcID server, bool gone) {
  const std::string who = "server process " + AddressText(server);
  if (gone) return who + " ended during the audit; start it again, then repeat the audit";
  switch (code) {
    case VELA_ERR_NO_RECEIVER:
      return who + " is not running any more; start it, then repeat the audit";
    case VELA_ERR_NO_ANSWER:
      return who + " gave no sign of life for a long time; look into its log";
    case VELA_ERR_OVERLOAD:
      return who + " is overloaded; try again in a moment";
    case VELA_ERR_STOPPING:
      return who + " is shutting down; start it again, then repeat the audit";
    case VELA_ERR_NO_HANDLER:
      return who + " does not know audits; name another one with --process";
    case VELA_ERR_TOO_LARGE:
      return "the inventory is too large for one message; split the file";
    case VELA_ERR_MEMORY:
      return "memory is exhausted; split the file or try again later";
    default:
      break;
  }
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return who + " failed with code " + text + "; look into its log";
}

// What to say when the audit ended early; empty when it did not.
std::string WhyIncomplete(const AsnAuditRsp& response) {
  if (static_cast<AsnIntType>(response.errorCode) == 0) return {};
  const std::string reason = response.reason != nullptr ? response.reason->data() : "the audit ended early";
  return reason + "; the result is incomplete, repeat the audit for all of it";
}

int Audit(const AuditOptions& options, const std::vector<InventoryRow>& rows, char* argv0) {
  AuditSession::HoldSignals();
  ClientProcess process;
  std::string error;
  if (!process.Start(argv0, error)) return Fail(error);
  const auto server = ClientProcess::FindServer(options.process, options.handle);
  if (!server)
    return Fail("no server process " + std::to_string(options.process) +
                (options.handle != 0 ? "/" + std::to_string(options.handle) : "") + " is running below " +
                vela::InstallRoot() + "; start one with velad, or name another one with --process");

  AsnAuditReq request;
  FillRequest(options, rows, request);
  AsnAuditRsp response;
  AuditSession session(request, *server, options.json);
  const std::uint32_t result = session.Run(response);
  if (result != 0) return Fail(WhyFailed(result, *server, session.ServerGone()));

  const std::string text =
      options.json ? AuditJson(response, options.file, rows) : AuditTable(response, rows);
  const bool printed =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!printed) return Fail("the result cannot be written to standard output");
  error = WhyIncomplete(response);
  return error.empty() ? EXIT_SUCCESS : Fail(error);
}

}  // namespace

int AuditCommand(char* argv0, const std::vector<std::string>& arguments) {
  AuditOptions options;
  std::string error;
  if (!ParseAuditOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(kHelp, stdout) < 0;
  std::vector<InventoryRow> rows;
  if (!ReadInventory(options.file, rows, error)) return Fail(error + "; nothing was sent");
  if (!FitsOneRequest(rows))
    return Fail(options.file + ": " + std::to_string(rows.size()) +
                " NEs are more than one request can carry; split the file");
  return Audit(options, rows, argv0);
}

}  // namespace velactl
