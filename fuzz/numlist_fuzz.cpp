// Number lists and name patterns on any bytes. A list that was read must be read the same from what the
// writers make of it, in both forms; a pattern must match exactly the names that a slow reference says.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "util/basicutil/stringutil.h"

namespace {

using namespace NSTE_util;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// What was read before a bad item counts as well.
void CheckCommas(const std::string& text) {
  std::vector<int> numbers;
  std::list<int> list;
  const bool valid = StrToNumList(text, numbers);
  Require(StrToNumList(text, list) == valid, "one result for both containers");
  Require(std::vector<int>(list.begin(), list.end()) == numbers, "one list in both containers");
  Require(numbers.size() <= kLongestNumList, "a list within the limit");

  RWCString spans;
  RWCString spansOfList;
  RWCString plain;
  NumListToStr2(numbers, spans);
  NumListToStr2(list, spansOfList);
  NumListToStr(numbers, plain);
  Require(spans == spansOfList, "one text of both containers");
  std::vector<int> again;
  Require(StrToNumList(spans, again) && again == numbers, "list -> spans -> list");
  Require(StrToNumList(plain, again) && again == numbers, "list -> text -> list");
}

void CheckAmpersands(const std::string& text) {
  std::vector<int> numbers;
  const bool valid = TEStr2Vec(text, numbers);
  Require(numbers.size() <= kLongestNumList, "a list within the limit");
  Require(!valid || !numbers.empty(), "an empty list is none");
  std::string written;
  TEVec2Str(numbers, written);
  std::vector<int> again;
  Require(TEStr2Vec(written.c_str(), again) == !numbers.empty() && again == numbers,
          "list -> \"&\" text -> list");
  Require(text.find('\0') != std::string::npos || TEStr2Vec(text.c_str(), again) == valid,
          "any kind of text");
}

// One row for each character of the name: which lengths of the pattern match so far.
bool SlowMatch(std::string_view name, std::string_view pattern) {
  if (pattern.empty()) return true;
  std::vector<bool> matches(pattern.size() + 1);
  for (std::size_t n = 0; n <= name.size(); ++n) {
    std::vector<bool> next(pattern.size() + 1);
    next[0] = n == 0;
    for (std::size_t p = 1; p < next.size(); ++p) {
      const char c = pattern[p - 1];
      const bool fits = n > 0 && (c == '?' || c == name[n - 1]) && matches[p - 1];
      next[p] = c == '*' ? next[p - 1] || matches[p] : fits;
    }
    matches = std::move(next);
  }
  return matches.back();
}

// Few different characters, so that patterns match now and then.
std::string Narrow(std::string_view bytes, std::string_view alphabet) {
  std::string text;
  for (const char c : bytes.substr(0, 300)) text += alphabet[static_cast<unsigned char>(c) % alphabet.size()];
  return text;
}

void CheckPattern(std::string_view bytes) {
  const std::size_t cut = bytes.size() / 2;
  const std::string name = Narrow(bytes.substr(0, cut), "ab");
  const std::string pattern = Narrow(bytes.substr(cut), "ab?*");
  Require(IsNameMeetingRequire(name, pattern) == SlowMatch(name, pattern), "the slow reference's answer");
}

// Putting back what a replacement put in restores the text, when the new text does not occur in the old one.
void CheckReplacement(const std::string& text) {
  std::string replaced = text;
  const unsigned first = ReplaceString(replaced, "1", "\x01\x02", 0, 0);
  Require(first == static_cast<unsigned>(text.find('1')), "the position of the first replacement");
  Require(replaced.find('1') == std::string::npos, "no match is left");
  if (text.find('\x01') != std::string::npos) return;
  ReplaceString(replaced, "\x01\x02", "1", 0, 0);
  Require(replaced == text, "the text that was replaced");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckCommas(text);
  CheckAmpersands(text);
  CheckPattern(text);
  CheckReplacement(text);
  return 0;
}
