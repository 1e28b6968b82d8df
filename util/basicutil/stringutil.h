#pragma once
#include <cstddef>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "platform/text/rw_cstring.h"
#include "platform/text/rwdb_blob.h"
#include "util/basicutil/export.h"
#include "util/basicutil/timeutil.h"  // times and their texts
#include "util/basicutil/token.h"

// Numbers, identifiers and lists as text and back; trimming, splitting, matching and replacing. Everything
// here keeps no state and is safe in any thread. A null `const char*` counts as the empty text except where
// noted. Readers return false on a bad text; what the output then holds stands at each.
namespace NSTE_util {

// Numbers to text. `unsigned long` values are 32 bits wide: higher bits are dropped.

BASIC_UTIL_EXPORT std::string Num2Str(int n);
// The low 32 bits: decimal with sign, or "0x" and upper-case digits.
BASIC_UTIL_EXPORT std::string IntToStr(long n, bool hex);
// With a blank in front, to follow an English sentence, when noLead is false and the interface language is
// "en_US". ConvertHEXToStr: lower-case digits, no prefix.
BASIC_UTIL_EXPORT std::string ConvertULONGToStr(unsigned long n, bool noLead);
BASIC_UTIL_EXPORT std::string ConvertLONGToStr(long n, bool noLead);
BASIC_UTIL_EXPORT std::string ConvertHEXToStr(unsigned long n, bool noLead);
// As printf into at most FORMAT_TEXT - 1 characters; the rest is cut off. Returns the length before the cut,
// or a negative number and an empty text when the C library refuses. `out` may be among the arguments.
constexpr int FORMAT_TEXT = 4096;
[[gnu::format(printf, 2, 3)]] BASIC_UTIL_EXPORT int TEFormat(std::string& out, const char* fmt, ...);
// 0x0A000001 is "10.0.0.1".
BASIC_UTIL_EXPORT std::string TEIP2Str(unsigned long ip);
// The upper and the lower 16 bits: 0x00090001 is "9-1".
BASIC_UTIL_EXPORT std::string TENEID2Str(unsigned long id);
// "0X" and two upper-case digits for each byte from `offset` on, at most `length` of them; 0 = all.
BASIC_UTIL_EXPORT std::string Blob2Str(const RWDBBlob& blob, unsigned offset, unsigned length);

// Text to numbers

// Spaces around the number are dropped; inside, what strtol takes in that base. False when nothing is left,
// for other characters behind the number (n is what stands before them) and for numbers that no int holds (n
// is the nearest one). n is untouched only when nothing is left.
BASIC_UTIL_EXPORT bool StrToInt(const RWCString& s, int& n, int base);
// Digits with an optional "-", which white space may follow; blanks behind the number are allowed, blanks in
// front of it are not. A null pointer is reported as a failed assertion.
BASIC_UTIL_EXPORT bool IsInteger(const char* s);
// Drops spaces at both ends in place. True when something is left and, with digitsOnly, all of it is digits.
BASIC_UTIL_EXPORT bool TEStrTrim(std::string& s, bool digitsOnly);
// The value of a hexadecimal digit of either case; 255 for every other character.
BASIC_UTIL_EXPORT unsigned char convertCharToChar(unsigned char c);
// One byte for each pair of digits. An odd last one is dropped, and a bad digit counts as 255: the byte is
// the low 8 bits of 16 * first + second.
BASIC_UTIL_EXPORT void HexToBinary(const std::string& hex, std::string& out);
// Four decimal parts up to 255 with "." between them, spaces around each allowed. On failure ip is made of
// the parts before the bad one; of the first four when more follow.
BASIC_UTIL_EXPORT bool TEStr2Ip(const char* s, unsigned int& ip);
// "high-low" in decimal, "0x" (lower-case) and hexadecimal digits, or decimal. Read as sscanf does: a number
// ends at the first other character, so "0X12" is 0. high and low are added up as (high << 16) | low, so that
// a low above 65535 spills into the upper half. A number that does not fit 32 bits fails; then id is
// untouched.
BASIC_UTIL_EXPORT bool TEStr2NEID(const char* s, unsigned long& id);
// All texts as above; when any fails, false and an empty `out`.
BASIC_UTIL_EXPORT bool TEVecStr2NEID(std::vector<RWCString>& in, std::vector<unsigned long>& out);

// Lists. Two forms: "1-3,5" with commas, "1&&3&5" with "&". A text that stands for more numbers than
// kLongestNumList fails like one with a bad item: more than any caller has, and no harm to memory.

constexpr std::size_t kLongestNumList = 1'000'000;

// "1,2,3,5"; always true.
BASIC_UTIL_EXPORT bool NumListToStr(const std::vector<int>& numbers, RWCString& text);
// "1-3,5": a run of numbers, each one more than the one before it, as "first-last". Not sorted: 5, 1, 2 is
// "5,1-2". Always true. A negative number is written, but StrToNumList cannot read it back.
BASIC_UTIL_EXPORT bool NumListToStr2(const std::vector<int>& numbers, RWCString& text);
BASIC_UTIL_EXPORT bool NumListToStr2(const std::list<int>& numbers, RWCString& text);
// Reads both of these: items separated by ",", spaces around them and around their numbers dropped, empty
// ones skipped; numbers are decimal and not negative. False at the first item that is none of these; the
// numbers before it are then in the list.
BASIC_UTIL_EXPORT bool StrToNumList(const RWCString& text, std::vector<int>& numbers);
BASIC_UTIL_EXPORT bool StrToNumList(const RWCString& text, std::list<int>& numbers);
// One such item: "7" is from 7 to 7. True when 0 <= from <= to. On failure, what could be read is written.
BASIC_UTIL_EXPORT bool GetSpan(const RWCString& s, int& from, int& to);
// "a-b-c": three decimal numbers, each as for StrToInt, cut at the first two "-". On failure, what could be
// read is written.
BASIC_UTIL_EXPORT bool GetSpan(const std::string& s, int& a, int& b, int& c);

// "1&&3&5&6&9": a run of three or more as "first&&last", of two as "first&last". Not sorted.
BASIC_UTIL_EXPORT void TEVec2Str(const std::vector<int>& numbers, std::string& text);
BASIC_UTIL_EXPORT void TEVec2Str(const std::vector<int>& numbers, RWCString& text);
// Reads it back; "6&&3" counts down. Spaces around numbers are dropped. False for an empty text, "&" at its
// start or end, and at the first piece that is not digits; the numbers before it are then in the list.
BASIC_UTIL_EXPORT bool TEStr2Vec(const char* text, std::vector<int>& numbers);
BASIC_UTIL_EXPORT bool TEStr2Vec(const RWCString& text, std::vector<int>& numbers);

// Appends the pieces between the commas, as Token makes them.
BASIC_UTIL_EXPORT void TEStr2StrVec(const char* s, std::vector<std::string>& out);

// Searching, splitting, trimming

// The text from `start` up to the first character that is one of `separators`. Returns the position behind
// that character, or -1 when there is none and `word` is all of the rest. A `start` outside the line gives
// the empty rest.
BASIC_UTIL_EXPORT int GetWordFromLine(const RWCString& line, int start, const RWCString& separators,
                                      RWCString& word);
// The text between the first `open` and the first `close` behind it. False, `out` untouched, when one is
// missing.
BASIC_UTIL_EXPORT bool GetSubStr(const std::string& s, const std::string& open, const std::string& close,
                                 std::string& out);
// Puts `escape` in front of every `target`.
BASIC_UTIL_EXPORT void InsertTransferChar(std::string& s, char target, char escape);
// Without the blanks " \t\n\r" at the start, at the end, at both.
BASIC_UTIL_EXPORT std::string LTrim(const std::string& s);
BASIC_UTIL_EXPORT std::string RTrim(const std::string& s);
BASIC_UTIL_EXPORT std::string Trim(const std::string& s);
// Byte by byte, with the C library's locale.
BASIC_UTIL_EXPORT std::string StrToUpper(std::string s);
BASIC_UTIL_EXPORT std::string StrToLower(std::string s);
// Whether the whole name matches: "*" stands for any characters, also none, "?" for any one; case counts. The
// empty pattern matches every name. Takes at most about length of name times length of pattern steps.
BASIC_UTIL_EXPORT bool IsNameMeetingRequire(std::string name, std::string pattern);
// Whether the file can be opened for reading; if not, a trace line says why.
BASIC_UTIL_EXPORT bool IsFileExist(const std::string& path);
// Leaves `out` empty, whatever the words of `in` are.
BASIC_UTIL_EXPORT void Str16ToStrChar(const RWCString& in, RWCString& out);

// Replacing, from position `start` on, at most `maxCount` times; 0 = no limit. What was put in is not
// searched again. The result is the position of the first replacement, or NO_REPLACEMENT. An empty `from` is
// found at every position reached, so that `to` is put in maxCount times; without a limit it is never found.

constexpr unsigned int NO_REPLACEMENT = static_cast<unsigned int>(std::string::npos);

BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s, const char* from, const char* to, unsigned start,
                                             unsigned maxCount);
BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s, const std::string& from, const std::string& to,
                                             unsigned start, unsigned maxCount);
BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s, const char& from, const char& to, unsigned start,
                                             unsigned maxCount);
BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s,
                                             const std::pair<std::string, std::string>& fromTo,
                                             unsigned start, unsigned maxCount);
// Several pairs in one pass: the match that starts first is replaced; of several at one place, that of the
// pair which stands first in the list.
BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s,
                                             const std::vector<std::pair<std::string, std::string> >& pairs,
                                             unsigned start, unsigned maxCount);
// The same, except that an empty list returns 0.
BASIC_UTIL_EXPORT unsigned int ReplaceString(std::string& s,
                                             const std::list<std::pair<std::string, std::string> >& pairs,
                                             unsigned start, unsigned maxCount);

// Sort rows that are kept as columns, ascending by the column `key` (1 = a, 2 = b, 3 = c; every other value
// counts as 1). Rows with equal keys keep their order. The columns are different vectors; when their lengths
// differ, nothing happens.

BASIC_UTIL_EXPORT void TERela2WaySort(std::vector<int>& a, std::vector<int>& b, int key);
BASIC_UTIL_EXPORT void TERela3WaySort(std::vector<int>& a, std::vector<int>& b, std::vector<int>& c, int key);

}  // namespace NSTE_util
