#include "util/basicutil/stringutil.h"

#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

namespace NSTE_util {
namespace {

std::string_view StripSpaces(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The whole text, spaces around it dropped, as a number from 0 to the largest int.
bool ReadNumber(std::string_view text, int& number) {
  const std::string digits(StripSpaces(text));
  if (digits.empty()) return false;
  char* end = nullptr;
  const long value = std::strtol(digits.c_str(), &end, 10);
  if (end != digits.c_str() + digits.size() || value < 0 || value > INT_MAX) return false;
  number = static_cast<int>(value);
  return true;
}

bool ReadSpan(std::string_view item, int& from, int& to) {
  const std::size_t dash = item.find('-');
  if (dash == std::string_view::npos) return ReadNumber(item, from) && ReadNumber(item, to);
  return ReadNumber(item.substr(0, dash), from) && ReadNumber(item.substr(dash + 1), to) && from <= to;
}

template <class List>
bool AppendItem(std::string_view item, List& numbers) {
  int from = 0;
  int to = 0;
  if (!ReadSpan(item, from, to)) return false;
  const std::size_t more = static_cast<std::size_t>(to) - static_cast<std::size_t>(from) + 1;
  if (more > kLongestNumList - numbers.size()) return false;
  for (std::size_t i = 0; i < more; ++i) numbers.push_back(from + static_cast<int>(i));
  return true;
}

template <class List>
bool ReadList(std::string_view text, List& numbers) {
  numbers.clear();
  while (true) {
    const std::size_t comma = text.find(',');
    const std::string_view item = StripSpaces(text.substr(0, comma));
    if (!item.empty() && !AppendItem(item, numbers)) return false;
    if (comma == std::string_view::npos) return true;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace

bool StrToNumList(const RWCString& text, std::vector<int>& numbers) {
  return ReadList(text.str(), numbers);
}

bool StrToNumList(const RWCString& text, std::list<int>& numbers) {
  return ReadList(text.str(), numbers);
}

}  // namespace NSTE_util
