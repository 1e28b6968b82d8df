#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace apps {

// "9-1" as the library writes it, without anything around it. 0-0 is no NE.
std::optional<std::uint32_t> ParseNE(std::string_view text);

enum class NEListResult { good, badItem, tooMany };

// NEs and ranges of them, separated by commas: "9-1,9-5..9-8". Each NE once, in order of first mention. A bad
// item is left in `bad`.
NEListResult ParseNEList(std::string_view text, std::size_t most, std::vector<std::uint32_t>& nes,
                         std::string& bad);

}  // namespace apps
