#include "apps/velactl/sessions_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/table.h"
#include "apps/velactl/topology_report.h"
#include "asn1/nms.h"

namespace velactl {
namespace {

constexpr ServerChoice kSessionService{.process = 52, .handle = 0};

bool Parse(const std::vector<std::string>& arguments, RequestOptions& options, std::string& error) {
  options.server = kSessionService;
  const auto take = [&](std::size_t i, std::string& wrong) {
    if (!arguments[i].starts_with("--timeout")) return false;
    wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
    return true;
  };
  return ReadArguments("sessions", arguments, options, take, error);
}

std::string OperationName(const AsnInt& operation) {
  switch (Unsigned(operation)) {
    case NE_UPLOAD_COMMAND:
      return "upload";
    case NE_RESET_COMMAND:
      return "reset";
    default:
      return HexCode(Unsigned(operation));
  }
}

std::string StateText(const AsnSessionOper& operation) {
  if (Number(operation.ended) == 0) return apps::Text("SESSIONS_RUNNING");
  const std::uint32_t code = Unsigned(operation.errorCode);
  if (code == 0) return apps::Text("NES_DONE");
  return apps::Text("SESSIONS_FAILED", {HexCode(code)});
}

std::string Client(const AsnSessionOper& operation) {
  return AddressText(Process(operation.client, operation.handle));
}

}  // namespace

std::string SessionTable(const AsnSessionListRsp& response) {
  if (response.operations.size() == 0) return apps::Text("SESSIONS_NONE") + '\n';
  Table table({apps::Text("SESSIONS_HEAD_CLIENT"), apps::Text("SESSIONS_HEAD_USER"),
               apps::Text("SESSIONS_HEAD_OPERATION"), apps::Text("SESSIONS_HEAD_NES"),
               apps::Text("SESSIONS_HEAD_TIME"), apps::Text("SESSIONS_HEAD_STATE")});
  for (const AsnSessionOper& operation : response.operations)
    table.Add({Client(operation), NumberText(operation.userID), OperationName(operation.operation),
               NumberText(operation.nes), LocalTimeText(Number(operation.time)), StateText(operation)});
  return table.Text();
}

std::string SessionJson(const AsnSessionListRsp& response) {
  std::string text = "{\"operations\": [";
  const char* separator = "\n";
  for (const AsnSessionOper& operation : response.operations) {
    text += separator;
    text += "{\"client\": " + JsonString(Client(operation)) +
            ", \"userID\": " + NumberText(operation.userID) +
            ", \"missionID\": " + NumberText(operation.missionID) +
            ", \"operation\": " + JsonString(OperationName(operation.operation)) +
            ", \"nes\": " + NumberText(operation.nes) +
            ", \"ended\": " + (Number(operation.ended) != 0 ? "true" : "false") +
            ", \"errorCode\": " + std::to_string(Unsigned(operation.errorCode)) +
            ", \"time\": " + NumberText(operation.time) + '}';
    separator = ",\n";
  }
  return text + "\n]}\n";
}

int SessionsCommand(char* argv0, const std::vector<std::string>& arguments) {
  RequestOptions options;
  std::string error;
  if (!Parse(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("SESSIONS_HELP").c_str(), stdout) < 0;
  AsnSessionListReq request;
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  AsnSessionListRsp response;
  error = AskOne(argv0, options.server, SESSION_LIST_COMMAND, request, response);
  if (!error.empty()) return Fail(error);
  return Print(options.json ? SessionJson(response) : SessionTable(response))
             ? EXIT_SUCCESS
             : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace velactl
