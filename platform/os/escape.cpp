#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/os/vela_os.h"

namespace {

constexpr std::uint64_t Repeat(std::uint8_t byte) {
  return 0x0101010101010101ULL * byte;
}

// True when one of eight bytes is below 0x20, is 0x7F or is above: the bytes that need a closer look. May be
// true for a harmless neighbour of such a byte, never false for one.
bool NeedsLook(std::uint64_t bytes) {
  const std::uint64_t high = bytes & Repeat(0x80);
  const std::uint64_t below = (bytes - Repeat(0x20)) & ~bytes & Repeat(0x80);
  const std::uint64_t aboveTilde = (bytes + Repeat(0x01)) & Repeat(0x80);
  return (high | below | aboveTilde) != 0;
}

bool IsPlain(unsigned char c) {
  return c >= 0x20 && c < 0x7F;
}

// Length of the printable ASCII run at the start.
std::size_t PlainPrefix(std::string_view text) {
  std::size_t at = 0;
  for (std::uint64_t bytes; at + sizeof(bytes) <= text.size(); at += sizeof(bytes)) {
    std::memcpy(&bytes, text.data() + at, sizeof(bytes));
    if (NeedsLook(bytes)) break;
  }
  while (at < text.size() && IsPlain(static_cast<unsigned char>(text[at]))) ++at;
  return at;
}

bool IsTail(unsigned char c) {
  return (c & 0xC0) == 0x80;
}

// Length of the well-formed, printable multi-byte character at the start; 0 when there is none.
std::size_t PrintableLength(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return static_cast<unsigned char>(i < text.size() ? text[i] : 0);
  };
  const unsigned char lead = byte(0);
  const unsigned char second = byte(1);
  if (lead < 0xC2 || lead > 0xF4 || !IsTail(second)) return 0;
  const bool c1Control = lead == 0xC2 && second < 0xA0;
  if (lead < 0xE0) return c1Control ? 0 : 2;
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool surrogate = lead == 0xED && second >= 0xA0;
  const bool beyond = lead == 0xF4 && second >= 0x90;
  if (overlong || surrogate || beyond || !IsTail(byte(2))) return 0;
  if (lead < 0xF0) return 3;
  return IsTail(byte(3)) ? 4 : 0;
}

void AppendHex(std::string& out, unsigned char c) {
  const char* const digits = "0123456789ABCDEF";
  out += "\\x";
  out += digits[c >> 4];
  out += digits[c & 15];
}

}  // namespace

std::string vela::EscapeControls(std::string_view text) {
  std::size_t plain = PlainPrefix(text);
  if (plain == text.size()) return std::string(text);
  std::string out;
  out.reserve(text.size() + 16);
  while (true) {
    out.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) return out;
    const std::size_t length = PrintableLength(text);
    if (length == 0) AppendHex(out, static_cast<unsigned char>(text[0]));
    out.append(text.substr(0, length));
    text.remove_prefix(length == 0 ? 1 : length);
    plain = PlainPrefix(text);
  }
}

void VelaOutputString(const char* text) {
  if (text == nullptr) return;
  std::string out;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    out += vela::EscapeControls(rest.substr(0, length)) + '\n';
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  // One call keeps the text whole among other threads' output.
  for (std::string_view rest = out; !rest.empty();) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}
