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

}  // namespace

bool ParseSpreadOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                        std::string& error) {
  const auto take = [&](std::size_t& i, std::string& wrong) {
    std::string value;
    if (TakeValue(arguments, i, "--on-failure", value)) {
      if (!ParseOnFailure(value, options.onFailure)) wrong = apps::Text("SPREAD_BAD_ON_FAILURE");
      return true;
    }
    if (!IsOperand(arguments[i])) return false;
    if (!options.file.empty()) wrong = apps::Text("AUDIT_TWO_FILES");
    options.file = arguments[i];
    return true;
  };
  if (!ReadArguments("spread", arguments, options, take, error)) return false;
  if (options.help || !options.file.empty()) return true;
  error = SeeHelp(apps::Text("AUDIT_NO_FILE"), "spread");
  return false;
}

bool ParseMissionsOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                          std::string& error) {
  const auto take = [&](const std::size_t& i, std::string& wrong) {
    if (arguments[i] != "--json" && !arguments[i].starts_with("--timeout")) return false;
    wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
    return true;
  };
  return ReadArguments("missions", arguments, options, take, error);
}

}  // namespace velactl
