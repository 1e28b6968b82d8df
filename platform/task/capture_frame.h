#pragma once
#include "platform/task/frame_capture.h"

namespace vela {
// What the capture in force, if any, does with a frame about to be sent.
FrameFate CaptureFrame(const VelaCmdMSG& frame, std::uint8_t module);
}  // namespace vela
