#include "apps/velactl/options.h"

#include <charconv>

#include "apps/common/ne_list.h"
#include "apps/common/texts.h"

namespace velactl {
namespace {

bool TakeCommon(const std::vector<std::string>& arguments, std::size_t& i, RequestOptions& options,
                std::string& error) {
  std::string value;
  if (arguments[i] == "--help" || arguments[i] == "-h") {
    options.help = true;
  } else if (arguments[i] == "--json") {
    options.json = true;
  } else if (TakeValue(arguments, i, "--process", value)) {
    if (!ParseServer(value, options.server)) error = apps::Text("OPTION_BAD_PROCESS");
  } else if (TakeValue(arguments, i, "--timeout", value)) {
    const auto seconds = ParseNumber(value, 1, 1000000);
    if (!seconds) error = apps::Text("OPTION_BAD_TIMEOUT");
    options.timeOut = seconds.value_or(0);
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::string SeeHelp(const std::string& text, std::string_view verb) {
  return apps::Text("SEE_HELP", {text, std::string(verb)});
}

bool ReadArguments(std::string_view verb, const std::vector<std::string>& arguments, RequestOptions& options,
                   const TakeArgument& take, std::string& error) {
  std::string wrong;
  for (std::size_t i = 0; i < arguments.size() && wrong.empty() && !options.help; ++i)
    if (!take(i, wrong) && !TakeCommon(arguments, i, options, wrong))
      wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
  if (wrong.empty()) return true;
  error = SeeHelp(wrong, verb);
  return false;
}

bool IsOperand(const std::string& argument) {
  return !argument.empty() && argument.front() != '-';
}

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

std::string ReadNEs(const std::string& list, std::size_t most, std::vector<std::uint32_t>& nes) {
  std::string bad;
  switch (apps::ParseNEList(list, most, nes, bad)) {
    case apps::NEListResult::good:
      return {};
    case apps::NEListResult::badItem:
      return apps::Text("OPER_BAD_NE", {bad});
    case apps::NEListResult::tooMany:
      break;
  }
  return apps::Text("OPER_TOO_MANY_NES", {std::to_string(most)});
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
