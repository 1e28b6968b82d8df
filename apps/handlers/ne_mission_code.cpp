#include "apps/handlers/ne_mission_code.h"

#include "apps/asn1/nms_codes.h"

namespace velad {

std::uint32_t NEMissionCode(RequestEnd end) {
  return CodeOf(end, {NE_MISSION_ERR_CANCELED, NE_MISSION_ERR_STOPPING, NE_MISSION_ERR_TIMEOUT,
                      NE_MISSION_ERR_CLIENT_GONE});
}

}  // namespace velad
