#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "apps/common/texts.h"
#include "apps/velad/server.h"
#include "platform/config/process_config.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/filepath.h"

namespace {

int Fail(const std::string& reason) {
  std::fprintf(stderr, "velad: %s\n", reason.c_str());
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  apps::LoadTexts();
  std::string name = "velad.cfg";
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--help" || argument == "-h")
      return std::fputs(apps::HelpText("VELAD_HELP").c_str(), stdout) < 0;
    if (argument == "--version") return std::puts("velad " VELA_APPS_VERSION) < 0;
    if (argument != "-f") return Fail(apps::Text("VELAD_UNKNOWN_ARGUMENT", {std::string(argument)}));
    if (++i == argc || *argv[i] == '\0') return Fail(apps::Text("VELAD_NO_FILE"));
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
  vela::SetProcessConfigFile(config.file);
  return velad::Serve(config, argv[0], name);
}
