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
  const auto take = [&](std::size_t& i, std::string& wrong) {
    std::string value;
    if (TakeValue(arguments, i, "--seconds", value)) {
      const auto seconds = ParseNumber(value, 0, NE_OPER_MOST_SECONDS);
      if (!seconds) wrong = apps::Text("OPER_BAD_SECONDS", {std::to_string(NE_OPER_MOST_SECONDS)});
      options.seconds = seconds.value_or(0);
      return true;
    }
    if (!IsOperand(arguments[i])) return false;
    wrong = ReadNEs(arguments[i], options);
    return true;
  };
  if (!ReadArguments(verb, arguments, options, take, error)) return false;
  if (options.help || !options.nes.empty()) return true;
  error = SeeHelp(apps::Text("OPER_NO_NES"), verb);
  return false;
}

}  // namespace velactl
