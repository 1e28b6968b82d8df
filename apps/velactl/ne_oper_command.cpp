#include "apps/velactl/ne_oper_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/ne_oper_options.h"
#include "apps/velactl/ne_oper_report.h"
#include "apps/velactl/request_session.h"
#include "asn1/error.h"
#include "asn1/ne_oper.h"
#include "platform/asncmd/asn_fwd.h"

namespace velactl {
namespace {

constexpr int kExitRefused = 2;

struct Verb {
  const char* name;
  std::uint32_t command;
};

void FillRequest(const NEOperOptions& options, AsnNEOperReq& request) {
  request.missionID = static_cast<AsnIntType>(NewMissionID());
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.timeOut = static_cast<AsnIntType>(options.timeOut);
  request.seconds = static_cast<AsnIntType>(options.seconds);
  for (const std::uint32_t ne : options.nes)
    *request.nes.append() = static_cast<AsnIntType>(static_cast<std::int32_t>(ne));
}

int Operate(const Verb& verb, const NEOperOptions& options, char* argv0) {
  AsnNEOperReq request;
  FillRequest(options, request);
  AsnErrRsp response;
  const std::string error =
      AskServer(argv0, options.server,
                {.command = verb.command,
                 .message = request,
                 .missionID = static_cast<std::int32_t>(request.missionID),
                 .sending = apps::Text("CLIENT_SENDING", {std::to_string(options.nes.size())}),
                 .complete = [&] { return static_cast<AsnIntType>(response.errorCode) == 0; },
                 .quiet = options.json},
                response);
  if (!error.empty()) return Fail(error);
  const NEOperOutcome outcome = Outcome(response);
  const std::size_t nes = options.nes.size();
  // Of a refused request there is nothing to show; scripts get their object in any case.
  if (options.json || outcome != NEOperOutcome::refused)
    if (!Print(options.json ? NEOperJson(response, verb.name, nes) : NEOperTable(response, nes)))
      return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  if (outcome == NEOperOutcome::done) return EXIT_SUCCESS;
  Fail(WhyNotDone(response));
  return outcome == NEOperOutcome::refused ? kExitRefused : EXIT_FAILURE;
}

int Command(const Verb& verb, char* argv0, const std::vector<std::string>& arguments) {
  NEOperOptions options;
  std::string error;
  if (!ParseNEOperOptions(verb.name, arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("OPER_HELP").c_str(), stdout) < 0;
  return Operate(verb, options, argv0);
}

}  // namespace

int ConfigureCommand(char* argv0, const std::vector<std::string>& arguments) {
  return Command({"configure", NE_CONFIGURE_COMMAND}, argv0, arguments);
}

int InspectCommand(char* argv0, const std::vector<std::string>& arguments) {
  return Command({"inspect", NE_INSPECT_COMMAND}, argv0, arguments);
}

}  // namespace velactl
