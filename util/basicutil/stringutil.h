#pragma once
#include <list>
#include <vector>

#include "platform/text/rw_cstring.h"
#include "util/basicutil/export.h"

namespace NSTE_util {

// Reads a range list, "1-3, 5" -> 1, 2, 3, 5: items separated by ",", blanks around them dropped, empty ones
// skipped; numbers are decimal and not negative. False at the first item that is none of these, or that would
// make the list longer than kLongestNumList; what stood before it is then in `numbers`. Safe in any thread.
BASIC_UTIL_EXPORT bool StrToNumList(const RWCString& text, std::vector<int>& numbers);
BASIC_UTIL_EXPORT bool StrToNumList(const RWCString& text, std::list<int>& numbers);

// So many numbers in one list: more than any caller has, and no harm to memory.
constexpr std::size_t kLongestNumList = 1'000'000;

}  // namespace NSTE_util
