#include "apps/handlers/admin/process_reload.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velad/server_config.h"
#include "platform/config/process_config.h"
#include "platform/config/vela_config.h"
#include "platform/debug/vela_debug_mgr.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/mutex_reload.h"
#include "util/basicutil/stringutil.h"

namespace velad {
namespace {

constexpr std::size_t kSwitches = 4;
constexpr const char* kLoadSwitches = "loadswitch 2";

bool Exists(const std::string& file) {
  struct stat about {};
  return VELA_OS::stat(file.c_str(), &about) == 0;
}

// The switches of which module are wrong; empty when none are. Reading them stops there.
std::string WrongSwitches(const std::string& name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(VELA_OS::fopen(name.c_str(), "r"),
                                                             VELA_OS::fclose);
  if (!file) return "-";
  char module[VELA_LINE_TEXT];
  char value[VELA_LINE_TEXT];
  std::vector<int> numbers;
  while (const int kind = VelaGetLine(file.get(), module, value)) {
    numbers.clear();
    if (kind == VELA_LINE_ENTRY && NSTE_util::StrToNumList(value, numbers) && numbers.size() != kSwitches)
      return module;
  }
  return {};
}

}  // namespace

ReloadFiles OwnReloadFiles() {
  ReloadFiles files;
  std::string folder;
  if (NSTE_util::GetProcessPath(folder) == 0)
    files.switches = NSTE_util::GetParentPath(folder) + "conf/debug.cfg";
  ServerConfig config;
  std::string error;
  // What is wrong in it now was not when the process started: its other keys count all the same.
  LoadConfig(vela::ProcessConfigFile(), vela::InstallRoot(), config, error);
  files.mutex = config.mutexFile;
  return files;
}

std::uint32_t Reload(const ReloadFiles& files, const std::string& language, std::string& reason) {
  if (!apps::HasTexts(language)) {
    reason = apps::Text("RELOAD_BAD_LANGUAGE",
                        {language.empty() ? apps::Language() : vela::EscapeControls(language)});
    return RELOAD_ERR_LANGUAGE;
  }
  const bool switches = Exists(files.switches);
  const std::string wrongModule = switches ? WrongSwitches(files.switches) : std::string();
  if (!wrongModule.empty()) {
    reason = apps::Text("RELOAD_BAD_SWITCHES", {files.switches, vela::EscapeControls(wrongModule)});
    return RELOAD_ERR_SWITCHES;
  }
  int wrongLine = 0;
  if (!NSTE_util::ReloadMutexFile(files.mutex, wrongLine)) {
    reason = wrongLine == 0 ? apps::Text("RELOAD_NO_MUTEX", {files.mutex})
                            : apps::Text("RELOAD_BAD_MUTEX", {files.mutex, std::to_string(wrongLine)});
    return RELOAD_ERR_MUTEX;
  }
  apps::ReloadTexts(language);
  if (switches) VelaDebugMgr::Instance()->Execute(kLoadSwitches);
  return 0;
}

}  // namespace velad
