#include "apps/common/asn_values.h"

#include <cstdio>

namespace apps {

std::string HexCode(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

}  // namespace apps
