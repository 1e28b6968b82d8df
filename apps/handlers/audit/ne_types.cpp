#include "apps/handlers/audit/ne_types.h"

#include <cerrno>
#include <cstring>

#include "apps/common/entries.h"
#include "apps/common/texts.h"

namespace velad {

bool LoadNETypes(const std::string& file, NETypes& types, std::string& reason) {
  const int line =
      apps::ReadEntries(file, [&](const char* type, const char* lowest) { return types.Add(type, lowest); });
  if (line != 0) {
    reason = line < 0 ? file + ": " + std::strerror(errno)
                      : apps::Text("TYPES_BAD_LINE", {file, std::to_string(line)});
    return false;
  }
  if (types.empty()) reason = apps::Text("TYPES_NONE", {file});
  return !types.empty();
}

}  // namespace velad
