#include "platform/os/os_faults.h"

#include <utility>

#include "platform/os/fault_hook.h"
#include "platform/os/hook_slot.h"

namespace vela {
namespace {

constinit HookSlot<std::function<OsFault(OsCall, const char*)>> g_hook;

}  // namespace

void SetOsFaultHook(std::function<OsFault(OsCall, const char* path)> hook) {
  g_hook.Set(std::move(hook));
}

OsFault AskFaultHook(OsCall call, const char* path) {
  const auto hook = g_hook.Get();
  return hook ? (*hook)(call, path) : OsFault{};
}

bool AllocationFails() {
  return AskFaultHook(OsCall::allocate, nullptr).error != 0;
}

}  // namespace vela
