#include "apps/velactl/audit_options.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "platform/os/vela_os.h"

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
    error = text + "; see velactl audit --help";
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
      if (!ParseAddress(value, options))
        return fail("--process takes N or N/HANDLE, N from 1 to 65535, HANDLE from 1 to 10000");
    } else if (TakeValue(arguments, i, "--timeout", value)) {
      const auto seconds = Number(value, 1, 1000000);
      if (!seconds) return fail("--timeout takes seconds, 1 to 1000000");
      options.timeOut = *seconds;
    } else if (argument.starts_with("-") || argument.empty()) {
      return fail("unknown option '" + vela::EscapeControls(argument) + "'");
    } else if (!options.file.empty()) {
      return fail("one inventory file at a time");
    } else {
      options.file = argument;
    }
  }
  return options.file.empty() ? fail("no inventory file is named") : true;
}

}  // namespace velactl
