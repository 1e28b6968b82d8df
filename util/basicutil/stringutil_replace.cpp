#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "util/basicutil/stringutil.h"
#include "util/basicutil/stringutil_internal.h"

namespace NSTE_util {
namespace {

struct Replacement {
  std::string_view from;
  std::string_view to;
  std::size_t next = 0;  // where `from` is found next; npos = nowhere
};

// Every text is searched once along the whole string, however often others are found in between.
unsigned int ReplaceAll(std::string& s, std::span<Replacement> all, std::size_t start, unsigned maxCount) {
  const auto find = [&s, maxCount](Replacement& each, std::size_t at) {
    const bool endless = each.from.empty() && maxCount == 0;
    each.next = endless ? std::string::npos : std::string_view(s).find(each.from, at);
  };
  for (Replacement& each : all) find(each, start);

  std::string result;
  std::size_t copied = 0;
  unsigned count = 0;
  unsigned int firstAt = NO_REPLACEMENT;
  while (maxCount == 0 || count < maxCount) {
    const auto earliest = std::min_element(
        all.begin(), all.end(), [](const Replacement& a, const Replacement& b) { return a.next < b.next; });
    if (earliest == all.end() || earliest->next == std::string::npos) break;
    if (count++ == 0) firstAt = static_cast<unsigned int>(earliest->next);
    result.append(s, copied, earliest->next - copied).append(earliest->to);
    copied = earliest->next + earliest->from.size();
    for (Replacement& each : all)
      if (each.next < copied) find(each, copied);
  }
  if (count == 0) return NO_REPLACEMENT;
  result.append(s, copied);
  s = std::move(result);
  return firstAt;
}

unsigned int ReplaceOne(std::string& s, std::string_view from, std::string_view to, unsigned start,
                        unsigned maxCount) {
  std::array<Replacement, 1> one{{{from, to}}};
  return ReplaceAll(s, one, start, maxCount);
}

}  // namespace

unsigned int ReplaceString(std::string& s, const char* from, const char* to, unsigned start,
                           unsigned maxCount) {
  return ReplaceOne(s, View(from), View(to), start, maxCount);
}

unsigned int ReplaceString(std::string& s, const std::string& from, const std::string& to, unsigned start,
                           unsigned maxCount) {
  return ReplaceOne(s, from, to, start, maxCount);
}

unsigned int ReplaceString(std::string& s, const char& from, const char& to, unsigned start,
                           unsigned maxCount) {
  return ReplaceOne(s, {&from, 1}, {&to, 1}, start, maxCount);
}

unsigned int ReplaceString(std::string& s, const std::pair<std::string, std::string>& fromTo, unsigned start,
                           unsigned maxCount) {
  return ReplaceOne(s, fromTo.first, fromTo.second, start, maxCount);
}

unsigned int ReplaceString(std::string& s, const std::vector<std::pair<std::string, std::string> >& pairs,
                           unsigned start, unsigned maxCount) {
  std::vector<Replacement> all;
  for (const auto& [from, to] : pairs) all.push_back({from, to});
  return ReplaceAll(s, all, start, maxCount);
}

unsigned int ReplaceString(std::string& s, const std::list<std::pair<std::string, std::string> >& pairs,
                           unsigned start, unsigned maxCount) {
  if (pairs.empty()) return 0;
  return ReplaceString(s, std::vector<std::pair<std::string, std::string> >(pairs.begin(), pairs.end()),
                       start, maxCount);
}

}  // namespace NSTE_util
