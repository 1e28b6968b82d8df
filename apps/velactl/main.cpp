#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "apps/velactl/audit_command.h"
#include "platform/os/vela_os.h"

namespace {

constexpr char kHelp[] =
    "velactl - client of the server processes of one installation root\n"
    "\n"
    "usage: velactl COMMAND ...\n"
    "\n"
    "  audit FILE  check an inventory of NEs; see velactl audit --help\n"
    "  --help      this text\n"
    "  --version   the version\n"
    "\n"
    "VELA_ROOT names the installation root, the same as the server's.\n";

struct Command {
  const char* name;
  int (*run)(char* argv0, const std::vector<std::string>& arguments);
};
constexpr Command kCommands[] = {{"audit", velactl::AuditCommand}};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  const std::string word = argc > 1 ? argv[1] : "";
  if (word == "--help" || word == "-h" || word == "help") return std::fputs(kHelp, stdout) < 0;
  if (word == "--version") return std::puts("velactl " VELA_APPS_VERSION) < 0;
  for (const Command& command : kCommands)
    if (word == command.name) return command.run(argv[0], {argv + 2, argv + argc});
  if (word.empty())
    std::fputs("velactl: no command is given; see velactl --help\n", stderr);
  else
    std::fprintf(stderr, "velactl: unknown command '%s'; see velactl --help\n",
                 vela::EscapeControls(word).c_str());
  return EXIT_FAILURE;
}
