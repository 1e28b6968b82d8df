#pragma once
#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace NSTE_util {

// Text formatted like printf; it lives as long as this object. What does not fit into 4095 characters is cut
// to 4094. Nothing is allocated.
class FormattedText {
 public:
  [[gnu::format(printf, 2, 0)]] FormattedText(const char* format, std::va_list args);
  const char* Text() const { return m_text; }
  std::string_view View() const { return {m_text, m_length}; }

 private:
  std::size_t m_length = 0;
  char m_text[4096];
};

}  // namespace NSTE_util
