#include "platform/log/log_capture.h"

#include <utility>

#include "platform/log/capture_slot.h"

namespace vela {
namespace log {
constinit HookSlot<Capture> g_capture;
}

void SetLogCapture(log::Capture capture) {
  log::g_capture.Set(std::move(capture));
}

}  // namespace vela
