#include "platform/text/utf8.h"

#include <algorithm>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::size_t kLongestChar = 4;

// Length of the well-formed sequence at the front, 0 when there is none; its value in `c`.
std::size_t Decode(std::string_view text, char32_t& c) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  c = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return 0;
    c = (c << 6) | (next & 0x3Fu);
  }
  constexpr char32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
  return c < lowest[length] || c > 0x10FFFF || surrogate ? 0 : length;
}

}  // namespace

bool vela::IsUtf8(std::string_view text) {
  char32_t c = 0;
  while (!text.empty()) {
    const std::size_t length = Decode(text, c);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

char32_t vela::NextChar(std::string_view& text) {
  char32_t c = 0;
  const std::size_t length = Decode(text, c);
  text.remove_prefix(std::max<std::size_t>(length, 1));
  return length == 0 ? kReplacement : c;
}

std::string_view vela::WholeChars(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  for (std::size_t back = 1; back < kLongestChar && back <= bytes; ++back) {
    char32_t c = 0;
    if (Decode(text.substr(bytes - back), c) > back) return text.substr(0, bytes - back);
  }
  return text.substr(0, bytes);
}
