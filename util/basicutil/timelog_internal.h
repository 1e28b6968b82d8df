#pragma once
#include <atomic>
#include <cstdint>

#include "util/basicutil/export.h"

namespace NSTE_util {

// The milliseconds that the time log reads: VelaGetTickCount, but for tests.
extern BASIC_UTIL_EXPORT std::atomic<std::uint32_t (*)()> g_timeLogTicks;

}  // namespace NSTE_util
