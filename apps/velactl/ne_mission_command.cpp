#include "apps/velactl/ne_mission_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asker.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/mission_watch.h"
#include "apps/velactl/ne_mission_options.h"
#include "apps/velactl/ne_mission_report.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/request_session.h"
#include "apps/velactl/served_signals.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_cmd.h"

namespace velactl {
namespace {

constexpr int kExitRefused = 2;
constexpr int kAnyTime = 30 * 86400;  // seconds; the watch gives up long before

struct Verb {
  const char* name;
  std::uint32_t command;
};

void FillRequest(const NESelection& options, AsnNEMissionReq& request) {
  request.missionID = static_cast<AsnIntType>(NewMissionID());
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.timeOut = static_cast<AsnIntType>(options.timeOut);
  for (const std::uint32_t ne : options.nes) *request.nes.append() = Signed(ne);
}

// Empty, or why there is no answer.
std::string Ask(const Verb& verb, const AsnNEMissionReq& request, CProcID server, bool quiet,
                AsnNEMissionRsp& response) {
  MissionWatch watch(static_cast<std::int32_t>(request.missionID), server, quiet);
  const Asker asker(verb.command, request, server, kAnyTime, response);
  std::string why;
  while (!asker.Done() && why.empty()) {
    watch.Turn();
    why = watch.WhyHopeless();
  }
  if (!asker.Done()) {
    CAsnCmd::Destroy();
    watch.Finish(false);
    return why;
  }
  const std::uint32_t result = asker.Result();
  watch.Finish(result == 0 && Number(response.errorCode) == 0);
  return result == 0 ? std::string() : WhyFailed(result, server);
}

int Operate(const Verb& verb, const NESelection& options, char* argv0) {
  HoldSignals();
  ClientProcess process;
  std::string error;
  const auto server = Reach(process, argv0, options.server, error);
  if (!server) return Fail(error);
  AsnNEMissionReq request;
  FillRequest(options, request);
  AsnNEMissionRsp response;
  error = Ask(verb, request, *server, options.json, response);
  if (!error.empty()) return Fail(error);
  const std::uint32_t code = Unsigned(response.errorCode);
  const bool refused = code != 0 && IsRefusal(code);
  // Of a refused request there is nothing to show; scripts get their object in any case.
  const std::size_t asked = options.nes.size();
  if (options.json || !refused)
    if (!Print(options.json ? NEMissionJson(response, verb.name, asked) : NEMissionTable(response, asked)))
      return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  if (code == 0) return EXIT_SUCCESS;
  Fail(WhyNotDone(response));
  return refused ? kExitRefused : EXIT_FAILURE;
}

int Command(const Verb& verb, char* argv0, const std::vector<std::string>& arguments) {
  NESelection options;
  std::string error;
  if (!ParseNEMissionOptions(verb.name, arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("NES_HELP").c_str(), stdout) < 0;
  return Operate(verb, options, argv0);
}

}  // namespace

int UploadCommand(char* argv0, const std::vector<std::string>& arguments) {
  return Command({"upload", NE_UPLOAD_COMMAND}, argv0, arguments);
}

int ResetCommand(char* argv0, const std::vector<std::string>& arguments) {
  return Command({"reset", NE_RESET_COMMAND}, argv0, arguments);
}

}  // namespace velactl
