#pragma once
#include <cstdint>

#include "apps/handlers/request_watch.h"

namespace velad {

// The code of a mission on NEs, or a piece of one, that was told to end; 0: it was not.
std::uint32_t NEMissionCode(RequestEnd end);

}  // namespace velad
