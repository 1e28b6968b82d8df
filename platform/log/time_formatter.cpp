#include "platform/log/time_formatter.h"

#include <cstdio>

#include "platform/time/civil_internal.h"
#include "platform/time/zone_rules_internal.h"

namespace {

// The text of a second, kept per thread: records come many in a second.
struct SecondText {
  std::int64_t second = INT64_MIN;
  std::int32_t offset = 0;
  char text[48] = {};
};

void Render(std::int64_t second, std::int32_t offset, SecondText& out) {
  constexpr std::int64_t kYear10000 = 253'402'300'800;
  if (second < -kYear10000 || second >= kYear10000 - vela::kDaySeconds) {
    std::snprintf(out.text, sizeof(out.text), "%lld", static_cast<long long>(second));
  } else {
    VELATime t;
    vela::SetTime(t, second + offset, offset, false);
    std::snprintf(out.text, sizeof(out.text), "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour,
                  t.minute, t.second);
  }
  out.second = second;
  out.offset = offset;
}

}  // namespace

std::string TimeFormatter::getFormatTime(std::int64_t seconds, std::int32_t microseconds) {
  thread_local SecondText cached;
  const std::int32_t offset = vela::ServerZoneUnreported().At(seconds).offset;
  if (cached.second != seconds || cached.offset != offset) Render(seconds, offset, cached);
  std::string out = cached.text;
  out.push_back('.');
  const std::uint32_t fraction = microseconds < 0 ? 0 : static_cast<std::uint32_t>(microseconds) % 1'000'000;
  for (std::uint32_t unit = 100'000; unit != 0; unit /= 10) {
    out.push_back(static_cast<char>('0' + fraction / unit % 10));
  }
  return out;
}
