#include "apps/velactl/audit_options.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "apps/common/texts.h"

namespace velactl {
namespace {

std::optional<int> Number(std::string_view text, int low, int high) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high)
    return std::nullopt;
  return value;
}

bool ParseAddress(std::string_view text, AuditOptions& options) {
  const std::size_t slash = text.find('/');
  const auto process = Number(text.substr(0, slash), 1, 65535);
  const auto handle =
      slash == std::string_view::npos ? std::optional<int>(0) : Number(text.substr(slash + 1), 1, 10000);
  if (!process || !handle) return false;
  options.process = static_cast<std::uint16_t>(*process);
  options.handle = static_cast<std::uint16_t>(*handle);
  return true;
}

// Takes the value of `--name=value`, or of `--name value`; false when this argument is not that option.
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

}  // namespace

bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error) {
  const auto fail = [&](const std::string& text) {
    error = apps::Text("AUDIT_SEE_HELP", {text});
    return false;
  };
  std::string value;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      options.help = true;
      return true;
    }
    if (argument == "--json") {
      options.json = true;
    } else if (TakeValue(arguments, i, "--process", value)) {
      if (!ParseAddress(value, options)) return fail(apps::Text("AUDIT_BAD_PROCESS"));
    } else if (TakeValue(arguments, i, "--timeout", value)) {
      const auto seconds = Number(value, 1, 1000000);
      if (!seconds) return fail(apps::Text("AUDIT_BAD_TIMEOUT"));
      options.timeOut = *seconds;
    } else if (argument.starts_with("-") || argument.empty()) {
      return fail(apps::Text("AUDIT_UNKNOWN_OPTION", {argument}));
    } else if (!options.file.empty()) {
      return fail(apps::Text("AUDIT_TWO_FILES"));
    } else {
      options.file = argument;
    }
  }
  return options.file.empty() ? fail(apps::Text("AUDIT_NO_FILE")) : true;
}

}  // namespace velactl
