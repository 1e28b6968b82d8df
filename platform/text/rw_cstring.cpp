#include "platform/text/rw_cstring.h"

#include <algorithm>
#include <istream>
#include <ostream>

RWCString RWCString::subString(std::size_t start, std::size_t length) const {
  return m_text.substr(std::min(start, m_text.size()), length);
}

RWCString RWCString::strip(stripType ends, char c) const {
  const std::size_t first = (ends & leading) != 0 ? m_text.find_first_not_of(c) : 0;
  if (first == std::string::npos) return {};
  const std::size_t last = (ends & trailing) != 0 ? m_text.find_last_not_of(c) : m_text.size() - 1;
  return m_text.substr(first, last + 1 - first);
}

std::size_t RWCString::index(const RWCString& pattern, std::size_t start) const {
  return m_text.find(pattern.m_text, start);
}

std::size_t RWCString::index(const char* pattern, std::size_t start) const {
  return m_text.find(View(pattern), start);
}

std::size_t RWCString::index(char c, std::size_t start) const {
  return m_text.find(c, start);
}

std::size_t RWCString::last(char c) const {
  return m_text.rfind(c);
}

std::ostream& operator<<(std::ostream& out, const RWCString& text) {
  return out << text.m_text;
}

std::istream& operator>>(std::istream& in, RWCString& text) {
  return in >> text.m_text;
}

std::istream& getline(std::istream& in, RWCString& text) {
  std::string line;
  std::getline(in, line);
  text = std::move(line);
  return in;
}
