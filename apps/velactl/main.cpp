#include <signal.h>

#include <cstdio>
#include <string>
#include <vector>

#include "apps/common/texts.h"
#include "apps/velactl/audit_command.h"
#include "apps/velactl/debug_command.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/file_command.h"
#include "apps/velactl/ne_mission_command.h"
#include "apps/velactl/ne_oper_command.h"
#include "apps/velactl/ps_command.h"
#include "apps/velactl/reload_command.h"
#include "apps/velactl/sessions_command.h"
#include "apps/velactl/spread_command.h"
#include "apps/velactl/top_command.h"
#include "apps/velactl/topology_command.h"

namespace {

struct Command {
  const char* name;
  int (*run)(char* argv0, const std::vector<std::string>& arguments);
};
constexpr Command kCommands[] = {{"audit", velactl::AuditCommand},
                                 {"configure", velactl::ConfigureCommand},
                                 {"inspect", velactl::InspectCommand},
                                 {"spread", velactl::SpreadCommand},
                                 {"missions", velactl::MissionsCommand},
                                 {"debug", velactl::DebugCommand},
                                 {"ps", velactl::PsCommand},
                                 {"file", velactl::FileCommand},
                                 {"upload", velactl::UploadCommand},
                                 {"reset", velactl::ResetCommand},
                                 {"nes", velactl::NEsCommand},
                                 {"sessions", velactl::SessionsCommand},
                                 {"top", velactl::TopCommand},
                                 {"reload", velactl::ReloadCommand}};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  apps::LoadTexts();
  const std::string word = argc > 1 ? argv[1] : "";
  if (word == "--help" || word == "-h" || word == "help")
    return std::fputs(apps::HelpText("VELACTL_HELP").c_str(), stdout) < 0;
  if (word == "--version") return std::puts("velactl " VELA_APPS_VERSION) < 0;
  for (const Command& command : kCommands)
    if (word == command.name) return command.run(argv[0], {argv + 2, argv + argc});
  return velactl::Fail(word.empty() ? apps::Text("VELACTL_NO_COMMAND")
                                    : apps::Text("VELACTL_UNKNOWN_COMMAND", {word}));
}
