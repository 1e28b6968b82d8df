#include "apps/velactl/options.h"

#include <charconv>

namespace velactl {

std::optional<int> ParseNumber(std::string_view text, int low, int high) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high)
    return std::nullopt;
  return value;
}

bool ParseServer(std::string_view text, ServerChoice& choice) {
  const std::size_t slash = text.find('/');
  const auto process = ParseNumber(text.substr(0, slash), 1, 65535);
  const auto handle =
      slash == std::string_view::npos ? std::optional<int>(0) : ParseNumber(text.substr(slash + 1), 1, 10000);
  if (!process || !handle) return false;
  choice.process = static_cast<std::uint16_t>(*process);
  choice.handle = static_cast<std::uint16_t>(*handle);
  return true;
}

bool TakeValue(const std::vector<std::string>& arguments, std::size_t& i, std::string_view name,
               std::string& value) {
  const std::string_view argument = arguments[i];
  if (!argument.starts_with(name)) return false;
  if (argument.size() > name.size()) {
    if (argument[name.size()] != '=') return false;
    value = argument.substr(name.size() + 1);
    return true;
  }
  value = i + 1 < arguments.size() ? arguments[++i] : "";
  return true;
}

}  // namespace velactl
