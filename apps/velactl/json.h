#pragma once
#include <string>
#include <string_view>

namespace velactl {

// The text as a JSON string, quotes included. Always valid: bytes that are no UTF-8 become U+FFFD.
std::string JsonString(std::string_view text);

}  // namespace velactl
