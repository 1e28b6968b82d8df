#include "apps/handlers/ne_mission_code.h"

#include "apps/asn1/nms_codes.h"

namespace velad {

std::uint32_t NEMissionCode(RequestEnd end) {
  switch (end) {
    case RequestEnd::none:
      return 0;
    case RequestEnd::canceled:
      return NE_MISSION_ERR_CANCELED;
    case RequestEnd::stopping:
      return NE_MISSION_ERR_STOPPING;
    case RequestEnd::timeOut:
      return NE_MISSION_ERR_TIMEOUT;
    case RequestEnd::clientGone:
      return NE_MISSION_ERR_CLIENT_GONE;
  }
  return NE_MISSION_ERR_CANCELED;
}

}  // namespace velad
