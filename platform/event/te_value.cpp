#include "platform/event/te_value.h"

#include <charconv>
#include <limits>

bool TEValue::IsText() const {
  return m_type == TEXT || m_type == TEXT_LONG || m_type == TEXT2 || m_type == TEXT2_LONG;
}

std::string TEValue::AsText() const {
  return IsText() ? m_text : std::to_string(m_integer);
}

std::int32_t TEValue::AsInteger() const {
  if (!IsText()) return m_integer;
  const std::size_t start = m_text.find_first_not_of(" \t\r\n");
  if (start == std::string::npos) return 0;
  const bool plus = m_text[start] == '+' && m_text.compare(start, 2, "+-") != 0;
  const char* const first = m_text.data() + start + (plus ? 1 : 0);
  std::int32_t number = 0;
  const auto parsed = std::from_chars(first, m_text.data() + m_text.size(), number);
  if (parsed.ec != std::errc::result_out_of_range) return number;
  using Limits = std::numeric_limits<std::int32_t>;
  return *first == '-' ? Limits::min() : Limits::max();
}
