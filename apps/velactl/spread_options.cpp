#include "apps/velactl/spread_options.h"

#include "apps/common/texts.h"

namespace velactl {
namespace {

bool ParseOnFailure(const std::string& word, OnPartFailure& onFailure) {
  if (word == "go-on")
    onFailure = OnPartFailure::goOn;
  else if (word == "move")
    onFailure = OnPartFailure::move;
  else if (word == "stop")
    onFailure = OnPartFailure::stop;
  else
    return false;
  return true;
}

// Takes an option; why it is wrong in `error`. False when the argument is none that the command knows.
bool TakeOption(const std::vector<std::string>& arguments, std::size_t& i, bool spread,
                SpreadOptions& options, std::string& error) {
  std::string value;
  const std::string& argument = arguments[i];
  if (argument == "--help" || argument == "-h") {
    options.help = true;
  } else if (TakeValue(arguments, i, "--process", value)) {
    if (!ParseServer(value, options.server)) error = apps::Text("OPTION_BAD_PROCESS");
  } else if (spread && argument == "--json") {
    options.json = true;
  } else if (spread && TakeValue(arguments, i, "--timeout", value)) {
    const auto seconds = ParseNumber(value, 1, 1000000);
    if (!seconds) error = apps::Text("OPTION_BAD_TIMEOUT");
    options.timeOut = seconds.value_or(0);
  } else if (spread && TakeValue(arguments, i, "--on-failure", value)) {
    if (!ParseOnFailure(value, options.onFailure)) error = apps::Text("SPREAD_BAD_ON_FAILURE");
  } else {
    return false;
  }
  return true;
}

bool Parse(const std::vector<std::string>& arguments, const char* command, bool spread,
           SpreadOptions& options, std::string& error) {
  for (std::size_t i = 0; i < arguments.size() && error.empty() && !options.help; ++i) {
    const std::string& argument = arguments[i];
    if (TakeOption(arguments, i, spread, options, error)) continue;
    if (!spread || argument.starts_with("-") || argument.empty())
      error = apps::Text("OPTION_UNKNOWN", {argument});
    else if (!options.file.empty())
      error = apps::Text("AUDIT_TWO_FILES");
    else
      options.file = argument;
  }
  if (error.empty() && spread && !options.help && options.file.empty()) error = apps::Text("AUDIT_NO_FILE");
  if (error.empty()) return true;
  error = apps::Text("SEE_HELP", {error, command});
  return false;
}

}  // namespace

bool ParseSpreadOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                        std::string& error) {
  return Parse(arguments, "spread", true, options, error);
}

bool ParseMissionsOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                          std::string& error) {
  return Parse(arguments, "missions", false, options, error);
}

}  // namespace velactl
