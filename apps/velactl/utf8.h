#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace velactl {

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view text);

// Reads the character at the front of `text` and removes it; bad bytes are taken one at a time as U+FFFD.
char32_t NextChar(std::string_view& text);

// Columns of a terminal that the text takes: 2 for wide characters (CJK and the like), 0 for combining marks.
std::size_t DisplayWidth(std::string_view text);

// The longest beginning that fits into `columns`.
std::string_view FitColumns(std::string_view text, std::size_t columns);

}  // namespace velactl
