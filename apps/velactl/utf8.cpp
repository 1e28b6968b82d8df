#include "apps/velactl/utf8.h"

#include <algorithm>
#include <iterator>

#include "platform/text/utf8.h"

namespace velactl {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kCombining[] = {{0x0300, 0x036F}, {0x0483, 0x0489},  {0x0591, 0x05BD}, {0x064B, 0x065F},
                                {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},  {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
                                {0x200B, 0x200F}, {0x202A, 0x202E},  {0x2060, 0x2064}, {0x20D0, 0x20FF},
                                {0x302A, 0x302D}, {0x3099, 0x309A},  {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F},
                                {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};
constexpr Range kWide[] = {{0x1100, 0x115F},  {0x231A, 0x231B},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
                           {0x3400, 0x4DBF},  {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97F},
                           {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                           {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
                           {0x20000, 0x3FFFD}};

template <std::size_t n>
bool In(const Range (&ranges)[n], char32_t c) {
  const auto* range = std::lower_bound(std::begin(ranges), std::end(ranges), c,
                                       [](const Range& r, char32_t value) { return r.last < value; });
  return range != std::end(ranges) && c >= range->first;
}

std::size_t CharWidth(char32_t c) {
  if (c < 0x300) return 1;
  if (In(kCombining, c)) return 0;
  return In(kWide, c) ? 2 : 1;
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) width += CharWidth(vela::NextChar(text));
  return width;
}

std::string_view FitColumns(std::string_view text, std::size_t columns) {
  std::string_view rest = text;
  std::size_t width = 0;
  while (!rest.empty()) {
    std::string_view next = rest;
    width += CharWidth(vela::NextChar(next));
    if (width > columns) break;
    rest = next;
  }
  return text.substr(0, text.size() - rest.size());
}

}  // namespace velactl
