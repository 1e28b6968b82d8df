#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace velactl {

// Columns of a terminal that the text takes: 2 for wide characters (CJK and the like), 0 for combining marks.
std::size_t DisplayWidth(std::string_view text);

// The longest beginning that fits into `columns`.
std::string_view FitColumns(std::string_view text, std::size_t columns);

}  // namespace velactl
