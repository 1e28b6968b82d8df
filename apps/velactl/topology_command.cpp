#include "apps/velactl/topology_command.h"

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/ne_mission_options.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/topology_report.h"
#include "asn1/nms.h"

namespace velactl {

int NEsCommand(char* argv0, const std::vector<std::string>& arguments) {
  NESelection options;
  std::string error;
  if (!ParseNEsOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("TOPO_HELP").c_str(), stdout) < 0;
  AsnTopoNEReq request;
  for (const std::uint32_t ne : options.nes) *request.nes.append() = Signed(ne);
  AsnTopoNERsp response;
  error = AskOne(argv0, options.server, TOPO_NE_COMMAND, request, response);
  if (!error.empty()) return Fail(error);
  if (!Print(options.json ? NEsJson(response) : NEsTable(response)))
    return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  const std::string unknown = UnknownNEs(response);
  return unknown.empty() ? EXIT_SUCCESS : Fail(apps::Text("NES_UNKNOWN", {unknown}));
}

}  // namespace velactl
