#pragma once
#include <cstdint>
#include <string>
#include <utility>

#include "platform/export.h"

// The platform's value type: an integer or one of two kinds of text. A plain value.
class VELA_EXPORT TEValue {
 public:
  // Type codes. 0 and 20 are the first text kind, 13 and 14 the second; every other code is an integer.
  enum Type : int { TEXT = 0, INTEGER = 1, TEXT2 = 13, TEXT2_LONG = 14, TEXT_LONG = 20 };

  TEValue() = default;  // the integer 0
  explicit TEValue(std::int32_t value) : m_integer(value) {}
  explicit TEValue(std::string text, Type type = TEXT) : m_type(type), m_text(std::move(text)) {}

  int GetType() const { return m_type; }
  bool IsText() const;
  // A text as it stands, an integer in decimal.
  std::string AsText() const;
  // An integer as it stands; a text's leading decimal number, 0 when there is none.
  std::int32_t AsInteger() const;

  bool operator==(const TEValue&) const = default;

 private:
  int m_type = INTEGER;
  std::int32_t m_integer = 0;
  std::string m_text;
};
