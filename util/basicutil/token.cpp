#include "util/basicutil/token.h"

#include "util/basicutil/stringutil_internal.h"

namespace NSTE_util {

Token::Token(const std::string& text, char separator) {
  for (Pieces pieces(text, separator); !pieces.AtEnd();) m_pieces.emplace_back(pieces.Next());
}

Token::Token(const Token& other) = default;
Token& Token::operator=(const Token& other) = default;
Token::~Token() = default;

}  // namespace NSTE_util
