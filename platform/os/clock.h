#pragma once
#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/export.h"

// The platform's clock: the one place where the time of day and the length of a "second" are decided.
// All functions are safe in any thread.
namespace vela {

// A moment of the day, UTC, to the microsecond.
using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

// Time of day, from the system or from the test clock.
VELA_EXPORT WallTime Now();

// Whole seconds since 1970-01-01 UTC, from Now().
VELA_EXPORT std::int64_t NowSeconds();

// Replaces the time of day; an empty function restores the system clock. For tests.
VELA_EXPORT void SetWallClock(std::function<WallTime()> clock);

// The real duration of `seconds` configured seconds. Intervals and time-outs count seconds; tests shorten all
// of them together with the environment variable VELA_TIME_SCALE (milliseconds per second, 1 to 1000; another
// value counts as 1000; read once). Negative seconds count as 0, more than 10^9 as 10^9, so that the result
// can be added to any clock.
VELA_EXPORT std::chrono::milliseconds ScaledSeconds(std::int64_t seconds);

}  // namespace vela
