#pragma once
#include <string>

#include "platform/export.h"

// A text with the interface that older callers use; converts to and from std::string without loss.
class VELA_EXPORT RWCString {
 public:
  RWCString() = default;
  RWCString(const char* text) : m_text(text ? text : "") {}  // NOLINT: implicit by interface
  RWCString(const std::string& text) : m_text(text) {}       // NOLINT: implicit by interface
  const char* data() const { return m_text.c_str(); }
  std::size_t length() const { return m_text.size(); }
  bool isNull() const { return m_text.empty(); }
  const std::string& str() const { return m_text; }
  operator const char*() const { return m_text.c_str(); }  // NOLINT: implicit by interface

 private:
  std::string m_text;
};
