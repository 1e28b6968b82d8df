#include "apps/common/ne_list.h"

#include <set>

#include "util/basicutil/stringutil.h"

namespace apps {

// The library reads more forms than it writes; only the one that it writes is unambiguous.
std::optional<std::uint32_t> ParseNE(std::string_view text) {
  const std::string name(text);
  unsigned long id = 0;
  if (!NSTE_util::TEStr2NEID(name.c_str(), id) || id == 0 || NSTE_util::TENEID2Str(id) != name)
    return std::nullopt;
  return static_cast<std::uint32_t>(id);
}

NEListResult ParseNEList(std::string_view text, std::size_t most, std::vector<std::uint32_t>& nes,
                         std::string& bad) {
  std::set<std::uint32_t> known;
  for (bool more = true; more;) {
    const std::size_t comma = text.find(',');
    more = comma != std::string_view::npos;
    const std::string_view item = text.substr(0, comma);
    if (more) text.remove_prefix(comma + 1);

    const std::size_t dots = item.find("..");
    const auto first = ParseNE(item.substr(0, dots));
    const auto last = dots == std::string_view::npos ? first : ParseNE(item.substr(dots + 2));
    if (!first || !last || *last < *first) {
      bad = item;
      return NEListResult::badItem;
    }
    if (*last - *first >= most) return NEListResult::tooMany;
    for (std::uint32_t i = 0; i <= *last - *first; ++i)
      if (known.insert(*first + i).second) nes.push_back(*first + i);
    if (nes.size() > most) return NEListResult::tooMany;
  }
  return NEListResult::good;
}

}  // namespace apps
