#pragma once
#include <algorithm>
#include <chrono>
#include <cstdint>

#include "platform/time/vela_time.h"

// Between calendar and seconds since 1970, without zones, in 64 bits.
namespace vela {

constexpr std::int64_t kDaySeconds = 86'400;

inline bool IsTime(const VELATime& t) {
  if (t.year < -32'767 || t.year > 32'767 || t.month < 1 || t.month > 12 || t.day < 1) return false;
  if (t.hour < 0 || t.hour > 23 || t.minute < 0 || t.minute > 59 || t.second < 0 || t.second > 59)
    return false;
  return t.day <= 28 || std::chrono::year_month_day(
                            std::chrono::year(t.year), std::chrono::month(static_cast<unsigned>(t.month)),
                            std::chrono::day(static_cast<unsigned>(std::min(t.day, 32))))
                            .ok();
}

// `t` is a time.
inline std::int64_t CivilSeconds(const VELATime& t) {
  const std::chrono::sys_days day = std::chrono::year_month_day(
      std::chrono::year(t.year), std::chrono::month(static_cast<unsigned>(t.month)),
      std::chrono::day(static_cast<unsigned>(t.day)));
  return day.time_since_epoch().count() * kDaySeconds + (t.hour * 60 + t.minute) * 60 + t.second;
}

// `seconds` lies within the years of IsTime. Written field by field into `t`, which is no copy of a record
// just written: such copies, wider than the fields, would have to wait for them.
inline void SetTime(VELATime& t, std::int64_t seconds, std::int32_t zone, bool dst) {
  const std::int64_t days = seconds / kDaySeconds - (seconds % kDaySeconds < 0 ? 1 : 0);
  const auto rest = static_cast<std::int32_t>(seconds - days * kDaySeconds);
  const std::chrono::year_month_day ymd{std::chrono::sys_days(std::chrono::days(days))};
  t.year = static_cast<int>(ymd.year());
  t.month = static_cast<std::int32_t>(static_cast<unsigned>(ymd.month()));
  t.day = static_cast<std::int32_t>(static_cast<unsigned>(ymd.day()));
  t.hour = rest / 3600;
  t.minute = rest / 60 % 60;
  t.second = rest % 60;
  t.zone = zone;
  t.dst = dst ? 1 : 0;
}

}  // namespace vela
