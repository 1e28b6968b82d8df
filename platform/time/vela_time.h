#pragma once
#include <cstdint>

// The platform's time record. What a conversion cannot express is 1900-01-01 00:00:00, the value that a new
// record has.
struct VELATime {
  std::int32_t year = 1900;  // full
  std::int32_t month = 1;    // 1 to 12
  std::int32_t day = 1;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  std::int32_t second = 0;
  std::int32_t zone = 0;  // seconds east of UTC, daylight-saving time included
  std::int32_t dst = 0;   // not 0 during daylight-saving time
};
