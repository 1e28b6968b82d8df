#pragma once
#include <date/date.h>

#include <cstdint>

#include "platform/time/vela_time.h"

// Between calendar and seconds since 1970, without zones, in 64 bits.
namespace vela {

constexpr std::int64_t kDaySeconds = 86'400;

inline bool IsTime(const VELATime& t) {
  if (t.year < -32'767 || t.year > 32'767 || t.month < 1 || t.month > 12 || t.day < 1) return false;
  if (t.hour < 0 || t.hour > 23 || t.minute < 0 || t.minute > 59 || t.second < 0 || t.second > 59)
    return false;
  return t.day <= 28 || date::year_month_day(date::year(t.year), date::month(static_cast<unsigned>(t.month)),
                                             date::day(static_cast<unsigned>(std::min(t.day, 32))))
                            .ok();
}

// `t` is a time.
inline std::int64_t CivilSeconds(const VELATime& t) {
  const date::sys_days day =
      date::year_month_day(date::year(t.year), date::month(static_cast<unsigned>(t.month)),
                           date::day(static_cast<unsigned>(t.day)));
  return day.time_since_epoch().count() * kDaySeconds + (t.hour * 60 + t.minute) * 60 + t.second;
}

// `seconds` lies within the years of IsTime.
inline VELATime CivilTime(std::int64_t seconds) {
  const std::int64_t days = seconds / kDaySeconds - (seconds % kDaySeconds < 0 ? 1 : 0);
  const auto rest = static_cast<std::int32_t>(seconds - days * kDaySeconds);
  const date::year_month_day ymd{date::sys_days(date::days(static_cast<int>(days)))};
  VELATime t;
  t.year = static_cast<int>(ymd.year());
  t.month = static_cast<std::int32_t>(static_cast<unsigned>(ymd.month()));
  t.day = static_cast<std::int32_t>(static_cast<unsigned>(ymd.day()));
  t.hour = rest / 3600;
  t.minute = rest / 60 % 60;
  t.second = rest % 60;
  return t;
}

}  // namespace vela
