#include "apps/velad/handler_sets.h"

#include <dlfcn.h>

#include <cstdio>

#include "apps/common/texts.h"
#include "apps/velad/handler_set.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/token.h"

namespace velad {
namespace {

bool IsFile(const std::string& name) {
  struct stat info {};
  return VELA_OS::stat(name.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string FileOf(const std::string& name, const std::string& root, const std::string& installed) {
  if (name.find('/') != std::string::npos) return name.front() == '/' ? name : root + name;
  std::string own = root + "handlers/" + name + ".so";
  return IsFile(own) ? own : installed + '/' + name + ".so";
}

bool Load(const std::string& name, const std::string& file, std::vector<HandlerSet>& sets,
          std::string& error) {
  const TETaskCreator* handlers = TETaskCreator::Instance();
  const std::size_t refused = handlers->Refused();
  const std::size_t served = handlers->All().size();
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    error = apps::Text("HANDLERS_NOT_LOADED", {name, vela::EscapeControls(dlerror())});
    return false;
  }
  if (handlers->Refused() != refused) {
    error = apps::Text("HANDLERS_TAKEN", {name});
    return false;
  }
  LogProcess::Info("velad: " + file + " serves " + std::to_string(handlers->All().size() - served) +
                   " commands");
  sets.push_back({name, library});
  return true;
}

}  // namespace

std::string InstalledHandlerSets(const std::string& processPath) {
  return processPath + VELAD_HANDLER_SETS;
}

bool LoadHandlerSets(const std::string& list, const std::string& root, const std::string& installed,
                     std::vector<HandlerSet>& sets, std::string& error) {
  for (const std::string& piece : NSTE_util::Token(list, ',')) {
    const std::string name = NSTE_util::Trim(piece);
    if (!name.empty() && !Load(name, FileOf(name, root, installed), sets, error)) return false;
  }
  return true;
}

bool StartHandlerSets(const std::vector<HandlerSet>& sets, std::string& error) {
  for (const HandlerSet& set : sets) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is for
    const auto start = reinterpret_cast<VelaStartHandlerSetFunc>(dlsym(set.library, "VelaStartHandlerSet"));
    const unsigned long code = start == nullptr ? 0 : start();
    if (code == 0) continue;
    char text[24];
    std::snprintf(text, sizeof text, "0x%08lX", code);
    error = apps::Text("HANDLERS_NOT_STARTED", {set.name, text});
    return false;
  }
  return true;
}

}  // namespace velad
