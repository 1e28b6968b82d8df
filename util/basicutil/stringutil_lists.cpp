#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

#include "util/basicutil/stringutil.h"
#include "util/basicutil/stringutil_internal.h"

namespace NSTE_util {
namespace {

void AppendNumber(std::string& text, int n) {
  char digits[12];
  text.append(digits, std::to_chars(digits, digits + sizeof(digits), n).ptr);
}

// Calls `use(first, last)` for every run of numbers that each are one more than the one before.
template <class List, class Use>
void ForEachRun(const List& numbers, Use&& use) {
  auto next = numbers.begin();
  while (next != numbers.end()) {
    const int first = *next;
    std::int64_t last = first;
    while (++next != numbers.end() && *next == last + 1) ++last;
    use(first, static_cast<int>(last));
  }
}

template <class List>
std::string CommaRuns(const List& numbers) {
  std::string text;
  ForEachRun(numbers, [&text](int first, int last) {
    if (!text.empty()) text += ',';
    AppendNumber(text, first);
    if (last == first) return;
    text += '-';
    AppendNumber(text, last);
  });
  return text;
}

bool ReadSpan(std::string_view item, int& from, int& to) {
  const auto read = [](std::string_view text, int& n) { return ReadInt(StripSpaces(text), n, 10); };
  const std::size_t dash = item.find('-');
  if (dash == std::string_view::npos) {
    const bool valid = read(item, from) && from >= 0;
    to = from;
    return valid;
  }
  const bool fromRead = read(item.substr(0, dash), from);
  const bool toRead = read(item.substr(dash + 1), to);
  return fromRead && toRead && from >= 0 && to >= from;
}

template <class List>
bool AppendSpan(int from, int to, List& numbers) {
  const std::size_t more = static_cast<std::size_t>(to) - static_cast<std::size_t>(from) + 1;
  if (more > kLongestNumList - numbers.size()) return false;
  for (std::size_t i = 0; i < more; ++i) numbers.push_back(from + static_cast<int>(i));
  return true;
}

// A number of 1 to 9 digits; `at` then points behind it. False for everything else.
bool ReadShortNumber(const char*& at, const char* end, int& n) {
  constexpr int most = std::numeric_limits<int>::digits10;
  const char* const start = at;
  n = 0;
  for (; at != end && *at >= '0' && *at <= '9'; ++at) {
    if (at - start == most) return false;
    n = n * 10 + (*at - '0');
  }
  return at != start;
}

// The usual item at the start of the text, "7" or "1-3" without blanks and as far as the next comma. Returns
// its length; 0 for every other item, valid or not.
std::size_t ReadPlainItem(std::string_view text, int& from, int& to) {
  const char* at = text.data();
  const char* const end = at + text.size();
  if (!ReadShortNumber(at, end, from)) return 0;
  to = from;
  if (at != end && *at == '-' && (!ReadShortNumber(++at, end, to) || to < from)) return 0;
  return at == end || *at == ',' ? static_cast<std::size_t>(at - text.data()) : 0;
}

// Takes one item, also an empty one, off the start of `rest`; the comma behind it stays.
template <class List>
bool TakeItem(std::string_view& rest, List& numbers) {
  int from = 0;
  int to = 0;
  if (const std::size_t plain = ReadPlainItem(rest, from, to); plain != 0) {
    rest.remove_prefix(plain);
    return AppendSpan(from, to, numbers);
  }
  const std::size_t length = std::min(rest.find(','), rest.size());
  const std::string_view item = StripSpaces(rest.substr(0, length));
  rest.remove_prefix(length);
  return item.empty() || (ReadSpan(item, from, to) && AppendSpan(from, to, numbers));
}

template <class List>
bool ReadList(std::string_view text, List& numbers) {
  numbers.clear();
  while (TakeItem(text, numbers)) {
    if (text.empty()) return true;
    text.remove_prefix(1);
  }
  return false;
}

// The numbers from the last one of the list (exclusive) to `to`, up or down.
bool AppendRange(int to, std::vector<int>& numbers) {
  const std::int64_t from = numbers.back();
  const std::int64_t step = to < from ? -1 : 1;
  const std::size_t more = static_cast<std::size_t>((to - from) * step);
  if (more > kLongestNumList - numbers.size()) return false;
  for (std::int64_t n = from + step; n != to + step; n += step) numbers.push_back(static_cast<int>(n));
  return true;
}

bool ReadAndList(std::string_view text, std::vector<int>& numbers) {
  numbers.clear();
  if (text.empty() || text.front() == '&' || text.back() == '&') return false;
  bool endsRange = false;
  for (Pieces pieces(text, '&'); !pieces.AtEnd();) {
    const std::string_view piece = pieces.Next();
    if (piece.empty()) {
      endsRange = true;
      continue;
    }
    int n = 0;
    if (!ReadDigits(piece, n)) return false;
    if (endsRange && n != numbers.back()) {
      if (!AppendRange(n, numbers)) return false;
    } else {
      if (numbers.size() == kLongestNumList) return false;
      numbers.push_back(n);
    }
    endsRange = false;
  }
  return true;
}

}  // namespace

bool NumListToStr(const std::vector<int>& numbers, RWCString& text) {
  std::string joined;
  for (const int n : numbers) {
    if (!joined.empty()) joined += ',';
    AppendNumber(joined, n);
  }
  text = std::move(joined);
  return true;
}

bool NumListToStr2(const std::vector<int>& numbers, RWCString& text) {
  text = CommaRuns(numbers);
  return true;
}

bool NumListToStr2(const std::list<int>& numbers, RWCString& text) {
  text = CommaRuns(numbers);
  return true;
}

bool StrToNumList(const RWCString& text, std::vector<int>& numbers) {
  return ReadList(text.str(), numbers);
}

bool StrToNumList(const RWCString& text, std::list<int>& numbers) {
  return ReadList(text.str(), numbers);
}

bool GetSpan(const RWCString& s, int& from, int& to) {
  return ReadSpan(s.str(), from, to);
}

bool GetSpan(const std::string& s, int& a, int& b, int& c) {
  const std::string_view text = s;
  const std::size_t first = text.find('-');
  const std::size_t second = first == std::string_view::npos ? first : text.find('-', first + 1);
  if (second == std::string_view::npos) return false;
  const auto read = [](std::string_view part, int& n) { return ReadInt(StripSpaces(part), n, 10); };
  const bool aRead = read(text.substr(0, first), a);
  const bool bRead = read(text.substr(first + 1, second - first - 1), b);
  const bool cRead = read(text.substr(second + 1), c);
  return aRead && bRead && cRead;
}

void TEVec2Str(const std::vector<int>& numbers, std::string& text) {
  text.clear();
  ForEachRun(numbers, [&text](int first, int last) {
    if (!text.empty()) text += '&';
    AppendNumber(text, first);
    if (last == first) return;
    text += last - 1 == first ? "&" : "&&";
    AppendNumber(text, last);
  });
}

void TEVec2Str(const std::vector<int>& numbers, RWCString& text) {
  std::string joined;
  TEVec2Str(numbers, joined);
  text = std::move(joined);
}

bool TEStr2Vec(const char* text, std::vector<int>& numbers) {
  return ReadAndList(View(text), numbers);
}

bool TEStr2Vec(const RWCString& text, std::vector<int>& numbers) {
  return ReadAndList(text.str(), numbers);
}

void TEStr2StrVec(const char* s, std::vector<std::string>& out) {
  for (Pieces pieces(View(s), ','); !pieces.AtEnd();) out.emplace_back(pieces.Next());
}

}  // namespace NSTE_util
