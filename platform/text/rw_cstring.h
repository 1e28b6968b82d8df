#pragma once
#include <compare>
#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "platform/export.h"

constexpr std::size_t RW_NPOS = static_cast<std::size_t>(-1);

// A text with the interface that older callers use. Any bytes, also NUL; positions and lengths count bytes.
// Not synchronised: one thread at a time while one of them writes.
//
// From std::string by assignment, and back with str(), without loss. The implicit `const char*` ends at a NUL
// inside the text and is valid until the text is changed; a null `const char*` counts as the empty text.
class VELA_EXPORT RWCString {
 public:
  // Which end strip works on.
  enum stripType { leading = 1, trailing = 2, both = 3 };

  RWCString() = default;
  RWCString(const char* text) : m_text(View(text)) {}                  // NOLINT: implicit by interface
  RWCString(const std::string& text) : m_text(text) {}                 // NOLINT: implicit by interface
  RWCString(std::string&& text) noexcept : m_text(std::move(text)) {}  // NOLINT: implicit by interface
  // The first `length` bytes, whatever they are.
  RWCString(const char* text, std::size_t length) : m_text(text, length) {}

  const char* data() const { return m_text.c_str(); }
  std::size_t length() const { return m_text.size(); }
  bool isNull() const { return m_text.empty(); }
  const std::string& str() const { return m_text; }
  operator const char*() const { return m_text.c_str(); }  // NOLINT: implicit by interface

  // The byte at the position, which must not be negative or greater than length(); at length() it is NUL.
  template <std::integral Position>
  char operator[](Position position) const {
    return m_text[static_cast<std::size_t>(position)];
  }
  template <std::integral Position>
  char& operator[](Position position) {
    return m_text[static_cast<std::size_t>(position)];
  }

  // The part from `start` on, at most `length` bytes of it; empty when the text ends before `start`.
  RWCString subString(std::size_t start, std::size_t length = RW_NPOS) const;
  // A copy without the bytes `c` at the chosen ends.
  RWCString strip(stripType ends = both, char c = ' ') const;
  // Where the pattern first starts at or behind `start`, or RW_NPOS. The empty pattern is found at `start`.
  std::size_t index(const RWCString& pattern, std::size_t start = 0) const;
  std::size_t index(const char* pattern, std::size_t start = 0) const;
  std::size_t index(char c, std::size_t start = 0) const;
  // Where the last `c` stands, or RW_NPOS.
  std::size_t last(char c) const;
  bool contains(const RWCString& pattern) const { return index(pattern) != RW_NPOS; }

  RWCString& append(const RWCString& text) { return *this += text; }
  RWCString& operator+=(const RWCString& text) {
    m_text += text.m_text;
    return *this;
  }
  RWCString& operator+=(const std::string& text) {
    m_text += text;
    return *this;
  }
  RWCString& operator+=(const char* text) {
    m_text += View(text);
    return *this;
  }
  RWCString& operator+=(char c) {
    m_text += c;
    return *this;
  }

  // Negative, 0 or positive, byte by byte as unsigned values; a text stands before its longer continuations.
  int compareTo(const RWCString& other) const { return m_text.compare(other.m_text); }

  friend bool operator==(const RWCString& a, const RWCString& b) { return a.m_text == b.m_text; }
  friend bool operator==(const RWCString& a, const std::string& b) { return a.m_text == b; }
  friend bool operator==(const RWCString& a, const char* b) { return a.m_text == View(b); }
  friend std::strong_ordering operator<=>(const RWCString& a, const RWCString& b) {
    return a.m_text.compare(b.m_text) <=> 0;
  }
  friend std::strong_ordering operator<=>(const RWCString& a, const std::string& b) {
    return a.m_text.compare(b) <=> 0;
  }
  friend std::strong_ordering operator<=>(const RWCString& a, const char* b) {
    return a.m_text.compare(View(b)) <=> 0;
  }

  friend RWCString operator+(RWCString a, const RWCString& b) { return std::move(a += b); }
  friend RWCString operator+(RWCString a, const std::string& b) { return std::move(a += b); }
  friend RWCString operator+(RWCString a, const char* b) { return std::move(a += b); }
  friend RWCString operator+(const std::string& a, const RWCString& b) { return RWCString(a) += b; }
  friend RWCString operator+(const char* a, const RWCString& b) { return RWCString(a) += b; }

  // Writes all bytes, with the stream's width and fill; reads one word, as std::string does.
  friend VELA_EXPORT std::ostream& operator<<(std::ostream& out, const RWCString& text);
  friend VELA_EXPORT std::istream& operator>>(std::istream& in, RWCString& text);

 private:
  static std::string_view View(const char* text) { return text != nullptr ? text : std::string_view(); }

  std::string m_text;
};

// Reads up to the next '\n', which is taken from the stream and not kept.
VELA_EXPORT std::istream& getline(std::istream& in, RWCString& text);
