#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "apps/velad/server.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/filepath.h"

namespace {

constexpr char kHelp[] =
    "velad - a server process of the network-management platform\n"
    "\n"
    "usage: velad [-f FILE]\n"
    "\n"
    "  -f FILE     the configuration file, by default velad.cfg. Looked for as ../conf/FILE from the folder "
    "of\n"
    "              the program, then as $VELA_ROOT/conf/FILE, then as FILE itself. Its keys: ProcNumber and\n"
    "              ProcHandle (the address), WorkerThreads, QueueLimit, StopSeconds, LogDirectory.\n"
    "  --help      this text\n"
    "  --version   the version\n"
    "\n"
    "Prints \"ready\" when it serves, ends with SIGTERM, SIGINT or SIGHUP: running requests may take "
    "StopSeconds to\n"
    "end, waiting ones are answered with an error. Exit code 0, or 1 when it could not serve.\n"
    "VELA_ROOT names the installation root; logs are in var/logs/Develop/velad_<ProcHandle>/ below it.\n";

int Fail(const std::string& reason) {
  std::fprintf(stderr, "velad: %s\n", reason.c_str());
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  std::string name = "velad.cfg";
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h") return std::fputs(kHelp, stdout) < 0;
    if (argument == "--version") return std::puts("velad " VELA_APPS_VERSION) < 0;
    if (argument != "-f") return Fail("unknown argument '" + std::string(argument) + "'; see velad --help");
    if (++i == argc || *argv[i] == '\0') return Fail("-f needs the name of a configuration file");
    name = argv[i];
  }

  velad::HoldEndSignals();
  const std::string root = vela::InstallRoot();
  std::string processPath;
  NSTE_util::GetProcessPath(processPath);
  velad::ServerConfig config;
  std::string file;
  std::string error;
  if (!velad::FindConfig(name, processPath, root, file, error) ||
      !velad::LoadConfig(file, root, config, error))
    return Fail(error);
  velad::SetConfigFile(config.file);
  return velad::Serve(config, argv[0], name);
}
