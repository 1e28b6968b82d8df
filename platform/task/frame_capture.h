#pragma once
#include <functional>

#include "platform/export.h"
#include "platform/message/vela_cmd_msg.h"

namespace vela {
// What a capture does with a frame.
enum class FrameFate { route, taken, refused };

// Sees every frame that the process sends, before routing: "taken" goes no further and counts as sent,
// "refused" fails with VELA_ERR_GENERAL. An empty function ends the capture. For tests: use
// testkit::FrameCapture.
VELA_EXPORT void SetFrameCapture(std::function<FrameFate(const VelaCmdMSG&, std::uint8_t module)> capture);
// The address that VelaGetProcId and its kin report without Start. For tests.
VELA_EXPORT void SetProcessAddress(std::uint16_t number, std::uint16_t handle, std::uint16_t desk);
}  // namespace vela
