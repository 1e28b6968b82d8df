#pragma once
#include <ctime>

#include "platform/os/os_types.h"

// What the files of the time functions share.
namespace NSTE_util {

// The value that a failed conversion leaves: 1900-01-01 00:00:00.
inline std::tm ClearedTime() {
  std::tm cleared{};
  cleared.tm_mday = 1;
  return cleared;
}

// TEUTC2UTC, telling whether `t` is the time; else `t` is 0.
bool UTC2LongTime(const std::tm& utc, __int64& t);

}  // namespace NSTE_util
