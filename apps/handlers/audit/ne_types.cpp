#include "apps/handlers/audit/ne_types.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "apps/common/texts.h"
#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace velad {

bool LoadNETypes(const std::string& file, NETypes& types, std::string& reason) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(VELA_OS::fopen(file.c_str(), "r"),
                                                           VELA_OS::fclose);
  if (!in) {
    reason = file + ": " + std::strerror(errno);
    return false;
  }
  char key[VELA_LINE_TEXT];
  char value[VELA_LINE_TEXT];
  for (int line = 1;; ++line) {
    const int kind = VelaGetLine(in.get(), key, value);
    if (kind == VELA_LINE_END) break;
    if (kind == VELA_LINE_ENTRY && !types.Add(key, value)) {
      reason = apps::Text("TYPES_BAD_LINE", {file, std::to_string(line)});
      return false;
    }
  }
  if (types.empty()) reason = apps::Text("TYPES_NONE", {file});
  return !types.empty();
}

}  // namespace velad
