#pragma once
#include <cstdint>
#include <string>

#include "platform/export.h"

// The form of times in the log.
class VELA_EXPORT TimeFormatter {
 public:
  // "2026-11-21 15:04:05.123456" in the server's zone (platform/time/vela_tzone.h). Thread-safe.
  static std::string getFormatTime(std::int64_t seconds, std::int32_t microseconds);
};
