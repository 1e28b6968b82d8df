#pragma once
#include <cstddef>
#include <string_view>

// What the sources of this unit share.
namespace NSTE_util {

// Without the spaces (no other blanks) at both ends.
inline std::string_view StripSpaces(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Cuts a text at every separator. The piece behind the last one counts, also an empty one:
//   for (Pieces pieces(text, ','); !pieces.AtEnd();) Use(pieces.Next());
class Pieces {
 public:
  Pieces(std::string_view text, char separator) : m_rest(text), m_separator(separator) {}

  bool AtEnd() const { return m_atEnd; }
  std::string_view Next() {
    const std::size_t end = m_rest.find(m_separator);
    const std::string_view piece = m_rest.substr(0, end);
    m_atEnd = end == std::string_view::npos;
    if (!m_atEnd) m_rest.remove_prefix(end + 1);
    return piece;
  }

 private:
  std::string_view m_rest;
  char m_separator;
  bool m_atEnd = false;
};

inline std::string_view View(const char* text) {
  return text != nullptr ? text : std::string_view();
}

// As StrToInt, of a text without spaces around it.
bool ReadInt(std::string_view stripped, int& n, int base);

// The number of a piece as TEStrTrim with digitsOnly accepts it; false also for one that no int holds.
bool ReadDigits(std::string_view piece, int& n);

}  // namespace NSTE_util
