#include "platform/task/frame_capture.h"

#include "platform/os/hook_slot.h"
#include "platform/task/capture_frame.h"

namespace vela {
namespace {

using Capture = std::function<FrameFate(const VelaCmdMSG&, std::uint8_t)>;

constinit HookSlot<Capture> g_capture;

}  // namespace

void SetFrameCapture(Capture capture) {
  g_capture.Set(std::move(capture));
}

FrameFate CaptureFrame(const VelaCmdMSG& frame, std::uint8_t module) {
  const auto capture = g_capture.Get();
  return capture ? (*capture)(frame, module) : FrameFate::route;
}

}  // namespace vela
