#include "apps/velactl/file_command.h"

#include <cstdio>
#include <cstdlib>

#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/file_session.h"
#include "apps/velactl/file_transfer.h"
#include "apps/velactl/served_signals.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr int kExitRefused = 2;
constexpr int kExitLeft = 130;
constexpr int kPatienceSeconds = 240;  // without --timeout

std::string NoServer(const ServerChoice& choice) {
  const std::string handle = choice.handle != 0 ? "/" + std::to_string(choice.handle) : "";
  return apps::Text("FILE_NO_SERVER", {std::to_string(choice.process) + handle, vela::InstallRoot()});
}

int Transfer(char* argv0, const FileOptions& options) {
  HoldSignals();
  ClientProcess process;
  std::string error;
  if (!process.Start(argv0, error)) return Fail(error);
  const auto server = ClientProcess::FindServer(options.server.process, options.server.handle);
  if (!server) return Fail(NoServer(options.server));
  FileSession session(*server, options.timeOut != 0 ? options.timeOut : kPatienceSeconds, options.json);
  FileOutcome outcome;
  const bool complete = session.Run([&] { return TransferFile(options, session, outcome); });
  if (!complete && session.Leaving()) {
    Fail(apps::Text("FILE_LEFT"));
    return kExitLeft;
  }
  if (!complete) {
    Fail(outcome.error);
    return outcome.refused ? kExitRefused : EXIT_FAILURE;
  }
  const std::string text =
      options.json ? FileJson(options, *server, outcome) : FileText(options, *server, outcome);
  return Print(text) ? EXIT_SUCCESS : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace

int FileCommand(char* argv0, const std::vector<std::string>& arguments) {
  FileOptions options;
  std::string error;
  if (!ParseFileOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("FILE_HELP").c_str(), stdout) < 0;
  return Transfer(argv0, options);
}

}  // namespace velactl
