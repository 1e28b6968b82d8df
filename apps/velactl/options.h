#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the command lines of velactl have in common.
namespace velactl {

struct ServerChoice {
  std::uint16_t process = 100;
  std::uint16_t handle = 0;  // 0: any instance
};

// A whole decimal number from `low` to `high`.
std::optional<int> ParseNumber(std::string_view text, int low, int high);

// "N" or "N/HANDLE"; false and `choice` untouched when it is neither.
bool ParseServer(std::string_view text, ServerChoice& choice);

// Takes the value of `--name=value`, or of `--name value` (then `i` moves on to the value); false when the
// argument is not that option. A missing value is an empty one.
bool TakeValue(const std::vector<std::string>& arguments, std::size_t& i, std::string_view name,
               std::string& value);

}  // namespace velactl
