#include "platform/os/clock.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "platform/os/hook_slot.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constinit HookSlot<std::function<WallTime()>> g_wallClock;

constexpr std::int64_t kLongest = 1'000'000'000;  // about 31 years: safe to add to any clock

std::int64_t ReadTimeScale() {
  constexpr std::int64_t real = 1000;
  std::string text;
  if (!VelaGetEnv("VELA_TIME_SCALE", text)) return real;
  std::int64_t scale = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, scale);
  const bool valid = parsed.ec == std::errc{} && parsed.ptr == end && scale >= 1 && scale <= real;
  return valid ? scale : real;
}

}  // namespace

WallTime Now() {
  if (const auto clock = g_wallClock.Get()) return (*clock)();
  return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::int64_t NowSeconds() {
  return std::chrono::floor<std::chrono::seconds>(Now().time_since_epoch()).count();
}

void SetWallClock(std::function<WallTime()> clock) {
  g_wallClock.Set(std::move(clock));
}

std::chrono::milliseconds ScaledSeconds(std::int64_t seconds) {
  static const std::int64_t scale = ReadTimeScale();
  return std::chrono::milliseconds(std::clamp<std::int64_t>(seconds, 0, kLongest) * scale);
}

}  // namespace vela
