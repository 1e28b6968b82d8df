#include "apps/common/entries.h"

#include <memory>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace apps {

int ReadEntries(const std::string& file, const std::function<bool(const char*, const char*)>& add) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(VELA_OS::fopen(file.c_str(), "r"),
                                                           VELA_OS::fclose);
  if (!in) return -1;
  char key[VELA_LINE_TEXT];
  char value[VELA_LINE_TEXT];
  for (int line = 1;; ++line) {
    const int kind = VelaGetLine(in.get(), key, value);
    if (kind == VELA_LINE_END) return 0;
    if (kind == VELA_LINE_ENTRY && !add(key, value)) return line;
  }
}

}  // namespace apps
