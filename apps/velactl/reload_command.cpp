#include "apps/velactl/reload_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/table.h"
#include "asn1/nms.h"

namespace velactl {
namespace {

constexpr int kReloadSeconds = 30;

using Answers = std::vector<ProcessAnswer<AsnReloadRsp>>;

struct ReloadOptions : RequestOptions {
  bool named = false;
  std::string language;
};

// "all", or as --process takes it for other commands.
bool ParseProcesses(const std::string& text, ServerChoice& choice) {
  if (text != "all") return ParseServer(text, choice);
  choice = {.process = 0, .handle = 0};
  return true;
}

bool Parse(const std::vector<std::string>& arguments, ReloadOptions& options, std::string& error) {
  const auto take = [&](std::size_t& i, std::string& wrong) {
    if (TakeValue(arguments, i, "--language", options.language)) {
      if (options.language.empty()) wrong = apps::Text("RELOAD_NO_NAME");
      return true;
    }
    if (arguments[i].starts_with("--timeout") || arguments[i].starts_with("--process")) {
      wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
      return true;
    }
    if (!IsOperand(arguments[i])) return false;
    if (options.named || !ParseProcesses(arguments[i], options.server))
      wrong = apps::Text("RELOAD_BAD_PROCESS");
    options.named = true;
    return true;
  };
  if (!ReadArguments("reload", arguments, options, take, error)) return false;
  if (options.help || options.named) return true;
  error = SeeHelp(apps::Text("RELOAD_BAD_PROCESS"), "reload");
  return false;
}

std::uint32_t CodeOf(const ProcessAnswer<AsnReloadRsp>& answer) {
  return answer.code != 0 ? answer.code : Unsigned(answer.message->errorCode);
}

std::string ReasonOf(const ProcessAnswer<AsnReloadRsp>& answer) {
  if (answer.code != 0) return WhyFailed(answer.code, answer.process);
  const std::string reason = Bytes(answer.message->reason);
  return reason.empty() && CodeOf(answer) != 0 ? HexCode(CodeOf(answer)) : reason;
}

std::string ReloadTable(const Answers& answers) {
  Table table({apps::Text("RELOAD_HEAD_PROCESS"), apps::Text("RELOAD_HEAD_LANGUAGE"),
               apps::Text("RELOAD_HEAD_RESULT")});
  for (const auto& answer : answers)
    table.Add({AddressText(answer.process), answer.code == 0 ? Bytes(answer.message->language) : "-",
               CodeOf(answer) == 0 ? apps::Text("NES_DONE") : ReasonOf(answer)});
  return table.Text();
}

std::string ReloadJson(const Answers& answers) {
  std::string text = "[";
  const char* separator = "\n";
  for (const auto& answer : answers) {
    text += separator;
    text += "{\"process\": " + JsonString(AddressText(answer.process)) +
            ", \"errorCode\": " + std::to_string(CodeOf(answer)) +
            ", \"reason\": " + JsonString(ReasonOf(answer)) +
            ", \"language\": " + JsonString(Bytes(answer.message->language)) + '}';
    separator = ",\n";
  }
  return text + "\n]\n";
}

}  // namespace

int ReloadCommand(char* argv0, const std::vector<std::string>& arguments) {
  ReloadOptions options;
  std::string error;
  if (!Parse(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("RELOAD_HELP").c_str(), stdout) < 0;
  ClientProcess process;
  if (!process.Start(argv0, error)) return Fail(error);
  const std::vector<CProcID> servers = LiveServers(options.server);
  if (servers.empty()) return Fail(NoServerText(options.server));
  AsnReloadReq request;
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  request.language.Set(options.language.data(), options.language.size());
  const Answers answers = AskEach<AsnReloadRsp>(servers, RELOAD_COMMAND, request, kReloadSeconds);
  if (!Print(options.json ? ReloadJson(answers) : ReloadTable(answers)))
    return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
  for (const auto& answer : answers)
    if (CodeOf(answer) != 0) return Fail(apps::Text("RELOAD_FAILED"));
  return EXIT_SUCCESS;
}

}  // namespace velactl
