#pragma once
#include <cstddef>

#include "platform/log/log_file.h"

namespace vela::log {

// What etc/conf/log.cfg says; values out of range count as the nearest one in range.
struct Settings {
  int level;  // the highest level that is written
  FileLimits limits;
  std::size_t queueLength;
};

Settings ReadSettings();

}  // namespace vela::log
