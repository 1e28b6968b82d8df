#include "apps/velactl/ne_oper_options.h"

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/texts.h"

namespace velactl {

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
    wrong = options.nes.empty() ? ReadNEs(arguments[i], NE_OPER_MOST_NES, options.nes)
                                : apps::Text("OPER_TWO_LISTS");
    return true;
  };
  if (!ReadArguments(verb, arguments, options, take, error)) return false;
  if (options.help || !options.nes.empty()) return true;
  error = SeeHelp(apps::Text("OPER_NO_NES"), verb);
  return false;
}

}  // namespace velactl
