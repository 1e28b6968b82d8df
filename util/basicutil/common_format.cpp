#include "util/basicutil/common_format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "util/basicutil/assert_report.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kLongestText = 4094;

// The conversions that nearly all traces use, without flags, width and precision: printf takes three times as
// long for them. Anything else makes Format return false, and printf is asked.
class SimpleFormat {
 public:
  SimpleFormat(char* begin, std::size_t room) : m_begin(begin), m_at(begin), m_end(begin + room) {}

  // Takes its arguments from a copy of `args`.
  bool Format(const char* format, std::va_list args) {
    std::va_list own;
    va_copy(own, args);
    const bool known = Pieces(format, own);
    va_end(own);
    return known;
  }

  // What would not fit is left out.
  std::size_t Length() const { return static_cast<std::size_t>(m_at - m_begin); }

 private:
  bool Pieces(const char* format, std::va_list& args) {
    while (true) {
      const char* const percent = ::strchrnul(format, '%');
      Append({format, static_cast<std::size_t>(percent - format)});
      if (*percent == '\0') return true;
      format = percent + 1;
      if (!Conversion(format, args)) return false;
    }
  }

  // `format` stands behind the "%" and is moved behind the conversion.
  bool Conversion(const char*& format, std::va_list& args) {
    const bool isLong = *format == 'l';
    if (isLong) ++format;
    switch (*format++) {
      case 'd':
      case 'i':
        isLong ? AppendNumber(va_arg(args, long), 10) : AppendNumber(va_arg(args, int), 10);
        return true;
      case 'u':
        isLong ? AppendNumber(va_arg(args, unsigned long), 10) : AppendNumber(va_arg(args, unsigned), 10);
        return true;
      case 'x':
        isLong ? AppendNumber(va_arg(args, unsigned long), 16) : AppendNumber(va_arg(args, unsigned), 16);
        return true;
      case 's':
        return !isLong && AppendString(va_arg(args, const char*));
      case '%':
        Append("%");
        return !isLong;
      default:
        return false;
    }
  }

  template <class Number>
  void AppendNumber(Number number, int base) {
    char digits[24];
    const auto made = std::to_chars(digits, digits + sizeof(digits), number, base);
    Append({digits, static_cast<std::size_t>(made.ptr - digits)});
  }

  bool AppendString(const char* text) {
    if (text == nullptr) return false;
    Append({text, ::strnlen(text, Room() + 1)});
    return true;
  }

  void Append(std::string_view text) {
    const std::size_t length = std::min(text.size(), Room());
    std::memcpy(m_at, text.data(), length);
    m_at += length;
  }

  std::size_t Room() const { return static_cast<std::size_t>(m_end - m_at); }

  char* const m_begin;
  char* m_at;
  char* const m_end;
};

}  // namespace

FormattedText::FormattedText(const char* format, std::va_list args) {
  m_text[0] = '\0';
  if (!Check(format != nullptr, "common", "NULL != format")) return;
  SimpleFormat simple(m_text, kLongestText);
  if (simple.Format(format, args)) {
    m_length = simple.Length();
    m_text[m_length] = '\0';
    return;
  }
  const int made = std::vsnprintf(m_text, sizeof(m_text), format, args);
  if (made < -1) {
    m_text[0] = '\0';
    Check(false, "common", "nBuf >= 0");
    return;
  }
  // A text of exactly 4095 characters is cut as well: readers of the log know the limit as 4094.
  if (made == -1 || made > static_cast<int>(kLongestText)) m_text[kLongestText] = '\0';
  m_length = made == -1 ? std::strlen(m_text) : std::min(static_cast<std::size_t>(made), kLongestText);
}

}  // namespace NSTE_util
