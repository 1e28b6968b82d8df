#pragma once
#include <cstdint>

#include "platform/export.h"

// A time zone for RWDBDateTime: the server's (see VELATZone) or UTC. Immutable; safe in any thread.
class VELA_EXPORT RWZone {
 public:
  RWZone(const RWZone&) = delete;
  RWZone& operator=(const RWZone&) = delete;

  static const RWZone& local();
  static const RWZone& utc();

 private:
  friend class RWDBDateTime;
  explicit constexpr RWZone(bool local) : m_local(local) {}

  // Moments are seconds since 1970-01-01 UTC.
  std::int32_t offsetAt(std::int64_t moment) const;  // seconds east of UTC
  bool isDaylightAt(std::int64_t moment) const;
  // The moment at which the zone's clock shows `wall` (its time counted as if it were UTC).
  std::int64_t momentOf(std::int64_t wall) const;

  bool m_local;
};
