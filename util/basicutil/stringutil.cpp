#include "util/basicutil/stringutil.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>

#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/stringutil_internal.h"

namespace NSTE_util {
namespace {

constexpr const char* BLANKS = " \t\n\r";

bool AllDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Goes back only to the last "*": what an earlier one could take in addition, the last one can take as well.
bool Matches(std::string_view name, std::string_view pattern) {
  std::size_t n = 0;
  for (; n < std::min(name.size(), pattern.size()) && pattern[n] != '*'; ++n)
    if (pattern[n] != name[n] && pattern[n] != '?') return false;
  std::size_t p = n;
  if (p == pattern.size()) return n == name.size();

  const auto atStar = [&] { return p < pattern.size() && pattern[p] == '*'; };
  const auto fits = [&] { return p < pattern.size() && (pattern[p] == name[n] || pattern[p] == '?'); };
  std::size_t behindStar = 0;
  std::size_t retryAt = 0;
  while (n < name.size()) {
    if (atStar()) {
      if (++p == pattern.size()) return true;
      behindStar = p;
      retryAt = n + 1;
    } else if (fits()) {
      ++p;
      ++n;
    } else {
      p = behindStar;
      n = pattern[p] == '?' ? retryAt : name.find(pattern[p], retryAt);
      if (n == std::string_view::npos) return false;
      retryAt = n + 1;
    }
  }
  while (atStar()) ++p;
  return p == pattern.size();
}

}  // namespace

bool ReadDigits(std::string_view piece, int& n) {
  const std::string_view digits = StripSpaces(piece);
  if (digits.empty() || !AllDigits(digits)) return false;
  return std::from_chars(digits.data(), digits.data() + digits.size(), n).ec == std::errc();
}

bool TEStrTrim(std::string& s, bool digitsOnly) {
  s = std::string(StripSpaces(s));
  return !s.empty() && (!digitsOnly || AllDigits(s));
}

int GetWordFromLine(const RWCString& line, int start, const RWCString& separators, RWCString& word) {
  const std::string& text = line.str();
  const std::size_t from =
      start < 0 ? text.size() : std::min<std::size_t>(static_cast<unsigned>(start), text.size());
  const std::size_t end = text.find_first_of(separators.str(), from);
  word = text.substr(from, end == std::string::npos ? end : end - from);
  return end == std::string::npos ? -1 : static_cast<int>(end) + 1;
}

bool GetSubStr(const std::string& s, const std::string& open, const std::string& close, std::string& out) {
  const std::size_t opened = s.find(open);
  if (opened == std::string::npos) return false;
  const std::size_t from = opened + open.size();
  const std::size_t closed = s.find(close, from);
  if (closed == std::string::npos) return false;
  out = s.substr(from, closed - from);
  return true;
}

void InsertTransferChar(std::string& s, char target, char escape) {
  std::string escaped;
  escaped.reserve(s.size());
  for (const char c : s) {
    if (c == target) escaped += escape;
    escaped += c;
  }
  s = std::move(escaped);
}

std::string LTrim(const std::string& s) {
  return s.substr(std::min(s.find_first_not_of(BLANKS), s.size()));
}

std::string RTrim(const std::string& s) {
  return s.substr(0, s.find_last_not_of(BLANKS) + 1);
}

std::string Trim(const std::string& s) {
  return RTrim(LTrim(s));
}

std::string StrToUpper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string StrToLower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

bool IsNameMeetingRequire(std::string name, std::string pattern) {  // NOLINT: by value by interface
  return pattern.empty() || name == pattern || Matches(name, pattern);
}

bool IsFileExist(const std::string& path) {
  errno = 0;
  std::FILE* const file = VELA_OS::fopen(path.c_str(), "rt", "UTF-8");
  if (file == nullptr) {
    TETrace("\nFail to open the file: %s ,reason code is %d \n", path.c_str(), errno);
    return false;
  }
  VELA_OS::fclose(file);
  return true;
}

// Each word stands for a character, but the buffer of one byte that takes it has room for the terminator
// alone. Callers rely on the empty text.
void Str16ToStrChar(const RWCString& /*in*/, RWCString& out) {
  out = RWCString();
}

}  // namespace NSTE_util
