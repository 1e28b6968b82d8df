#pragma once
#include <string>
#include <vector>

#include "util/basicutil/export.h"

namespace NSTE_util {

// A text cut at every separator. Every piece counts, also an empty one, and so does the text behind the last
// separator: "" has one piece, "a,,b" three. One thread at a time while one of them writes to a piece.
class BASIC_UTIL_EXPORT Token {
 public:
  using iterator = std::vector<std::string>::iterator;
  using const_iterator = std::vector<std::string>::const_iterator;

  Token(const std::string& text, char separator);
  Token(const Token& other);
  Token& operator=(const Token& other);
  ~Token();

  int size() const { return static_cast<int>(m_pieces.size()); }
  // `index` must be from 0 to size() - 1.
  std::string& operator[](int index) { return m_pieces[static_cast<std::size_t>(index)]; }
  const std::string& operator[](int index) const { return m_pieces[static_cast<std::size_t>(index)]; }
  iterator begin() { return m_pieces.begin(); }
  iterator end() { return m_pieces.end(); }
  const_iterator begin() const { return m_pieces.begin(); }
  const_iterator end() const { return m_pieces.end(); }

 private:
  std::vector<std::string> m_pieces;
};

}  // namespace NSTE_util
