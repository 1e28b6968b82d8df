#pragma once
#include <string>

#include "platform/export.h"

// What a test changes of the time-zone service; the test kit wraps it in scope guards. Safe in any thread.
namespace vela {

// The zone's name in the zone database, for instance "Asia/Shanghai".
VELA_EXPORT std::string ServerZoneName();
// False, and nothing changes, when the zone database has no such zone. The empty name means the configured
// zone, read anew on next use.
VELA_EXPORT bool SetServerZone(const std::string& name);

// Operations of VELATZone that can be made to fail.
enum ZoneCall : unsigned {
  ZONE_SERVER_UTC = 1,
  ZONE_SERVER_LOCAL = 2,
  ZONE_TO_UTC = 4,
  ZONE_TO_LOCAL = 8,
  ZONE_TO_LONG = 16,
  ZONE_ALL = 31
};

// The operations in `calls` (ZoneCall values added up) return -1 from now on, all others work.
VELA_EXPORT void SetZoneFaults(unsigned calls);

}  // namespace vela
