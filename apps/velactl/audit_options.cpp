#include "apps/velactl/audit_options.h"

#include "apps/common/texts.h"

namespace velactl {

bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error) {
  const auto fail = [&](const std::string& text) {
    error = apps::Text("SEE_HELP", {text, "audit"});
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
      if (!ParseServer(value, options.server)) return fail(apps::Text("OPTION_BAD_PROCESS"));
    } else if (TakeValue(arguments, i, "--timeout", value)) {
      const auto seconds = ParseNumber(value, 1, 1000000);
      if (!seconds) return fail(apps::Text("OPTION_BAD_TIMEOUT"));
      options.timeOut = *seconds;
    } else if (argument.starts_with("-") || argument.empty()) {
      return fail(apps::Text("OPTION_UNKNOWN", {argument}));
    } else if (!options.file.empty()) {
      return fail(apps::Text("AUDIT_TWO_FILES"));
    } else {
      options.file = argument;
    }
  }
  return options.file.empty() ? fail(apps::Text("AUDIT_NO_FILE")) : true;
}

}  // namespace velactl
