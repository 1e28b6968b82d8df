#include "apps/velactl/ne_oper_options.h"

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/ne_list.h"
#include "apps/common/texts.h"

namespace velactl {
namespace {

// What is wrong with the list of NEs; empty when nothing is.
std::string ReadNEs(const std::string& list, NEOperOptions& options) {
  if (!options.nes.empty()) return apps::Text("OPER_TWO_LISTS");
  std::string bad;
  switch (apps::ParseNEList(list, NE_OPER_MOST_NES, options.nes, bad)) {
    case apps::NEListResult::good:
      return {};
    case apps::NEListResult::badItem:
      return apps::Text("OPER_BAD_NE", {bad});
    case apps::NEListResult::tooMany:
      break;
  }
  return apps::Text("OPER_TOO_MANY_NES", {std::to_string(NE_OPER_MOST_NES)});
}

}  // namespace

bool ParseNEOperOptions(std::string_view verb, const std::vector<std::string>& arguments,
                        NEOperOptions& options, std::string& error) {
  const auto fail = [&](const std::string& text) {
    error = apps::Text("SEE_HELP", {text, std::string(verb)});
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
    } else if (TakeValue(arguments, i, "--seconds", value)) {
      const auto seconds = ParseNumber(value, 0, NE_OPER_MOST_SECONDS);
      if (!seconds) return fail(apps::Text("OPER_BAD_SECONDS", {std::to_string(NE_OPER_MOST_SECONDS)}));
      options.seconds = *seconds;
    } else if (argument.starts_with("-") || argument.empty()) {
      return fail(apps::Text("OPTION_UNKNOWN", {argument}));
    } else {
      const std::string wrong = ReadNEs(argument, options);
      if (!wrong.empty()) return fail(wrong);
    }
  }
  return options.nes.empty() ? fail(apps::Text("OPER_NO_NES")) : true;
}

}  // namespace velactl
