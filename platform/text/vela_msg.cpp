#include "platform/text/vela_msg.h"

#include "platform/config/vela_config.h"
#include "platform/os/mutex.h"
#include "platform/os/vela_os.h"

namespace {

constinit vela::Mutex g_mutex;
bool g_known VELA_GUARDED_BY(g_mutex) = false;

// Never destroyed: threads may still ask while the process ends.
std::string& Language() VELA_REQUIRES(g_mutex) {
  static std::string& language = *new std::string;
  return language;
}

bool IsLanguage(const std::string& text) {
  return !text.starts_with('.') && text.find_first_of("/\\") == std::string::npos;
}

std::string ConfiguredLanguage() {
  std::string language;
  const std::string root = vela::InstallRoot();
  if (root.empty()) return {};
  VelaGetRegString((root + "etc/conf/vela.cfg").c_str(), "Language", language);
  return IsLanguage(language) ? language : std::string();
}

}  // namespace

std::string VELAcommon::VELAMsg::getLanguage() {
  vela::MutexLock lock(g_mutex);
  if (!g_known) Language() = ConfiguredLanguage();
  g_known = true;
  return Language();
}

void VELAcommon::VELAMsg::setLanguage(const std::string& language) {
  if (!IsLanguage(language)) return;
  vela::MutexLock lock(g_mutex);
  Language() = language;
  g_known = true;
}
