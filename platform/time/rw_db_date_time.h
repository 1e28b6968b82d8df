#pragma once
#include <compare>
#include <cstdint>
#include <ctime>

#include "platform/export.h"
#include "platform/time/rw_zone.h"

// A moment as the database keeps it, or no time at all (database NULL). Counts in 64 bits: years 1 to 9999.
// Objects are values: each thread its own.
class VELA_EXPORT RWDBDateTime {
 public:
  RWDBDateTime() = default;  // no time
  // A calendar time of the zone; no time when there is no such date or time of day. Of two moments that the
  // zone's clock shows alike the first counts; a time that it skips is read with the offset before the
  // change.
  RWDBDateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
               const RWZone& zone = RWZone::local());

  bool isValid() const { return m_valid; }
  // Seconds since 1970-01-01 UTC; 0 without a time.
  std::int64_t seconds() const { return m_seconds; }

  // The broken-down time in the zone, with tm_isdst; tm_wday and tm_yday are 0. False, and 1900-01-01
  // 00:00:00, without a time.
  bool extract(std::tm& out, const RWZone& zone = RWZone::local()) const;

  // "No time" equals itself and comes before every time.
  friend bool operator==(const RWDBDateTime&, const RWDBDateTime&) = default;
  friend auto operator<=>(const RWDBDateTime&, const RWDBDateTime&) = default;

 private:
  bool m_valid = false;
  std::int64_t m_seconds = 0;
};
