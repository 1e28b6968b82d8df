#include "apps/velactl/json.h"

#include <cstdio>

#include "platform/text/utf8.h"

namespace velactl {

std::string JsonString(std::string_view text) {
  std::string out = "\"";
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t c = vela::NextChar(text);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
    } else if (c == 0xFFFD) {
      out += "\xEF\xBF\xBD";
    } else {
      out += before.substr(0, before.size() - text.size());
    }
  }
  return out + '"';
}

}  // namespace velactl
