#include "apps/common/program_log.h"

#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/filepath.h"

namespace apps {

bool StartLog(char* argv0, const std::string& config, const std::string& folder) {
  std::string program;
  NSTE_util::GetProcessName(program);
  // What InitDebugLog has to say before it opens the log belongs into the log too.
  LogProcess::SetFiles(vela::InstallRoot() + "var/logs/Develop/" + program, program + "_", "");
  if (!folder.empty()) LogProcess::OverrideDirectory(folder);
  LogProcess::InitEnv(argv0, 0);

  std::string option = "-f";
  std::string file = config;
  char* arguments[] = {argv0, option.data(), file.data(), nullptr};
  const int count = config.empty() ? 1 : 3;
  return NSTE_util::InitDebugLog(count, arguments) == 0;
}

}  // namespace apps
