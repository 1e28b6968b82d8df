#include "apps/handlers/mission_order.h"

#include <algorithm>

#include "platform/os/clock.h"

namespace velad {

std::int64_t DeadlineIn(const AsnInt& seconds) {
  const std::int64_t count = static_cast<AsnIntType>(seconds);
  return count > 0 ? vela::NowSeconds() + count : 0;
}

AsnIntType SecondsUntil(std::int64_t deadline) {
  if (deadline == 0) return 0;
  return static_cast<AsnIntType>(std::max<std::int64_t>(1, deadline - vela::NowSeconds()));
}

}  // namespace velad
