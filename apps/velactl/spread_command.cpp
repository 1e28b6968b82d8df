#include "apps/velactl/spread_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inventory_records.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/request_session.h"
#include "apps/velactl/served_signals.h"
#include "apps/velactl/spread_options.h"
#include "apps/velactl/spread_report.h"
#include "apps/velactl/spread_session.h"
#include "asn1/spread.h"
#include "platform/asncmd/asn_runtime.h"

namespace velactl {
namespace {

void FillRequest(const SpreadOptions& options, const std::vector<apps::InventoryRow>& rows,
                 AsnSpreadReq& request) {
  request.missionID = NewMissionID();
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.timeOut = options.timeOut;
  request.onFailure = static_cast<AsnIntType>(options.onFailure);
  for (const apps::InventoryRow& row : rows) FillRecord(row, *request.records.append());
}

int Spread(const SpreadOptions& options, const std::vector<apps::InventoryRow>& rows, char* argv0) {
  HoldSignals();
  ClientProcess process;
  std::string error;
  const auto owner = Reach(process, argv0, options.server, error);
  if (!owner) return Fail(error);
  AsnSpreadReq request;
  FillRequest(options, rows, request);
  const auto end = AwaitSpread(request, *owner, options.json, error);
  if (!end) return Fail(error);
  if (!Print(options.json ? SpreadJson(*end, options.file, rows) : SpreadTable(*end, rows)))
    return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  if (static_cast<AsnIntType>(end->errorCode) == 0) return EXIT_SUCCESS;
  const std::string reason = end->reason.data();
  return Fail(reason.empty() ? apps::Text("AUDIT_ENDED_EARLY") : reason);
}

}  // namespace

int SpreadCommand(char* argv0, const std::vector<std::string>& arguments) {
  SpreadOptions options;
  std::string error;
  if (!ParseSpreadOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("SPREAD_HELP").c_str(), stdout) < 0;
  std::vector<apps::InventoryRow> rows;
  error = ReadRows(options.file, 5, rows);
  if (!error.empty()) return Fail(error);
  return Spread(options, rows, argv0);
}

int MissionsCommand(char* argv0, const std::vector<std::string>& arguments) {
  SpreadOptions options;
  std::string error;
  if (!ParseMissionsOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("MISSIONS_HELP").c_str(), stdout) < 0;
  AsnMissionListReq request;
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  AsnMissionListRsp list;
  error = AskServer(argv0, options.server,
                    {.command = MISSION_LIST_COMMAND,
                     .message = request,
                     .missionID = NewMissionID(),
                     .sending = {},
                     .complete = [] { return true; },
                     .quiet = true},
                    list);
  if (!error.empty()) return Fail(error);
  return Print(MissionTable(list)) ? EXIT_SUCCESS : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace velactl
