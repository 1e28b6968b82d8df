#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/os/os_types.h"
#include "platform/text/vela_msg.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/stringutil_internal.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "stringutil";

std::string Lead(bool noLead) {
  return !noLead && VELAcommon::VELAMsg::getLanguage() == "en_US" ? " " : "";
}

std::string Hex(std::uint32_t n, const char* format) {
  char digits[16];
  const int length = std::snprintf(digits, sizeof(digits), format, n);
  return {digits, static_cast<std::size_t>(length)};
}

// The number at the start of the text, as sscanf reads it, cut to 32 bits. False when there is none, or one
// that is neither a signed nor an unsigned number of 32 bits.
bool ScanNumber(const char* text, int base, std::uint32_t& n) {
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, base);
  if (end == text || value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::uint32_t>::max())
    return false;
  n = static_cast<std::uint32_t>(value);
  return true;
}

bool ScanPair(const std::string& high, const std::string& low, std::uint32_t& id) {
  std::uint32_t upper = 0;
  std::uint32_t lower = 0;
  if (!ScanNumber(high.c_str(), 10, upper) || !ScanNumber(low.c_str(), 10, lower)) return false;
  id = lower | (upper << 16);
  return true;
}

bool ScanID(const char* s, std::uint32_t& id) {
  const char* const dash = std::strchr(s, '-');
  if (dash != nullptr) return ScanPair(std::string(s, dash), dash + 1, id);
  const bool hex = std::strncmp(s, "0x", 2) == 0 && s[2] != '\0';
  return hex ? ScanNumber(s + 2, 16, id) : ScanNumber(s, 10, id);
}

// The usual text is digits alone, for which strtol and the copy that it needs would be slow.
bool IsPlainNumber(std::string_view text, int& n) {
  const char* const end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, n);
  return ec == std::errc() && ptr == end;
}

}  // namespace

std::string Num2Str(int n) {
  return std::to_string(n);
}

std::string IntToStr(long n, bool hex) {
  return hex ? Hex(static_cast<std::uint32_t>(n), "0x%X") : std::to_string(static_cast<std::int32_t>(n));
}

std::string ConvertULONGToStr(unsigned long n, bool noLead) {
  return Lead(noLead) + std::to_string(vela::Cut32(n));
}

std::string ConvertLONGToStr(long n, bool noLead) {
  return Lead(noLead) + std::to_string(n);
}

std::string ConvertHEXToStr(unsigned long n, bool noLead) {
  return Lead(noLead) + Hex(vela::Cut32(n), "%x");
}

int TEFormat(std::string& out, const char* fmt, ...) {
  char buffer[FORMAT_TEXT];
  std::va_list args;
  va_start(args, fmt);
  const int length = std::vsnprintf(buffer, sizeof(buffer), fmt, args);
  va_end(args);
  out.assign(buffer, static_cast<std::size_t>(std::clamp(length, 0, FORMAT_TEXT - 1)));
  return length;
}

std::string TEIP2Str(unsigned long ip) {
  const std::uint32_t bits = vela::Cut32(ip);
  std::string text = std::to_string(bits >> 24);
  for (const int shift : {16, 8, 0}) text += '.' + std::to_string((bits >> shift) & 0xFF);
  return text;
}

std::string TENEID2Str(unsigned long id) {
  const std::uint32_t bits = vela::Cut32(id);
  return std::to_string(bits >> 16) + '-' + std::to_string(bits & 0xFFFF);
}

std::string Blob2Str(const RWDBBlob& blob, unsigned offset, unsigned length) {
  const std::size_t rest = blob.length() - std::min<std::size_t>(offset, blob.length());
  const std::size_t count = length == 0 ? rest : std::min<std::size_t>(length, rest);
  const char* const digits = "0123456789ABCDEF";
  std::string text = "0X";
  text.reserve(text.size() + 2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned char byte = blob.data()[offset + i];
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

bool ReadInt(std::string_view stripped, int& n, int base) {
  if (stripped.empty()) return false;
  if (base == 10 && IsPlainNumber(stripped, n)) return true;
  const std::string text(stripped);
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, base);
  using Limits = std::numeric_limits<int>;
  n = static_cast<int>(std::clamp<long>(value, Limits::min(), Limits::max()));
  return end == text.c_str() + text.size() && n == value;
}

bool StrToInt(const RWCString& s, int& n, int base) {
  return ReadInt(StripSpaces(s.str()), n, base);
}

bool IsInteger(const char* s) {
  if (!Check(s != nullptr, UNIT, "s != 0")) return false;
  const std::string trimmed = Trim(s);
  const auto isSpace = [](unsigned char c) { return std::isspace(c) != 0; };
  std::size_t i = 0;
  if (trimmed[0] == '-') {
    ++i;
    while (isSpace(static_cast<unsigned char>(trimmed[i]))) ++i;
  }
  // Looks at the text as it came: with blanks in front its positions differ from those of the trimmed copy.
  // Callers count on such a text being refused.
  do {
    if (std::isdigit(static_cast<unsigned char>(s[i])) == 0) return false;
  } while (++i < trimmed.size());
  return true;
}

unsigned char convertCharToChar(unsigned char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
  return 255;
}

void HexToBinary(const std::string& hex, std::string& out) {
  const auto value = [&hex](std::size_t i) { return convertCharToChar(static_cast<unsigned char>(hex[i])); };
  std::string bytes(hex.size() / 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(16 * value(2 * i) + value(2 * i + 1));
  out = std::move(bytes);
}

bool TEStr2Ip(const char* s, unsigned int& ip) {
  ip = 0;
  int parts = 0;
  for (Pieces pieces(View(s), '.'); !pieces.AtEnd();) {
    int value = 0;
    if (!ReadDigits(pieces.Next(), value) || value > 255 || parts == 4) return false;
    ip = (ip << 8) + static_cast<unsigned int>(value);
    ++parts;
  }
  return parts == 4;
}

bool TEStr2NEID(const char* s, unsigned long& id) {
  std::uint32_t bits = 0;
  if (View(s).empty() || !ScanID(s, bits)) return false;
  id = bits;
  return true;
}

bool TEVecStr2NEID(std::vector<RWCString>& in, std::vector<unsigned long>& out) {
  out.clear();
  for (const RWCString& text : in) {
    unsigned long id = 0;
    if (TEStr2NEID(text, id)) out.push_back(id);
  }
  if (out.size() == in.size()) return true;
  out.clear();
  return false;
}

}  // namespace NSTE_util
