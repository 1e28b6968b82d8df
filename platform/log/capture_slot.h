#pragma once
#include <functional>
#include <string_view>

#include "platform/os/hook_slot.h"

namespace vela::log {

using Capture = std::function<void(std::string_view log, int level, std::string_view text)>;

extern constinit HookSlot<Capture> g_capture;

}  // namespace vela::log
