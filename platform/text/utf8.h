#pragma once
#include <cstddef>
#include <string_view>

#include "platform/export.h"

namespace vela {

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
VELA_EXPORT bool IsUtf8(std::string_view text);

// Reads the character at the front of `text`, which is not empty, and removes it; bad bytes are taken one at
// a time as U+FFFD.
VELA_EXPORT char32_t NextChar(std::string_view& text);

// The longest beginning of at most `bytes` bytes that does not end inside a well-formed character.
VELA_EXPORT std::string_view WholeChars(std::string_view text, std::size_t bytes);

}  // namespace vela
