// What the process knows of itself: its address, the exit flag, the routes of command codes.
#include <atomic>
#include <bit>
#include <unordered_map>

#include "platform/os/mutex.h"
#include "platform/task/app_mgr_impl.h"
#include "platform/task/frame_capture.h"

namespace {

std::atomic<std::uint64_t> g_address{0};  // process in the lower half, desk above it
std::atomic<bool> g_exit{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the exit flag is set by signal handlers");

struct Routes {
  vela::Mutex lock;
  std::unordered_map<std::uint32_t, std::uint8_t> managers VELA_GUARDED_BY(lock);
};

// Never destroyed: the bus thread may run until the process is gone.
Routes& TheRoutes() {
  static Routes& routes = *new Routes;
  return routes;
}

}  // namespace

VelaOwnAddress VelaGetOwnAddress() {
  const std::uint64_t address = g_address.load(std::memory_order_relaxed);
  return {CProcID(static_cast<std::uint32_t>(address)), static_cast<std::uint16_t>(address >> 32)};
}

void VelaSetOwnAddress(const VelaOwnAddress& address) {
  g_address.store(std::uint64_t{address.desk} << 32 | address.process.Value(), std::memory_order_relaxed);
}

void vela::SetProcessAddress(std::uint16_t number, std::uint16_t handle, std::uint16_t desk) {
  VelaSetOwnAddress({CProcID(number, handle), desk});
}

std::uint16_t VelaGetProcId() {
  return VelaGetOwnAddress().process.Number();
}

std::uint16_t VelaGetProcHandle() {
  return VelaGetOwnAddress().process.Handle();
}

std::uint16_t VelaGetDeskId() {
  return VelaGetOwnAddress().desk;
}

std::string VelaAddressText(CProcID address) {
  return std::to_string(address.Number()) + '/' + std::to_string(address.Handle());
}

bool VelaIsExit() {
  return g_exit.load(std::memory_order_relaxed);
}

void VelaSetExitFlag(bool exit) {
  g_exit.store(exit, std::memory_order_relaxed);
}

void SetTaskMgrForCmd(std::uint32_t cmdCode, std::uint8_t taskMgrId) {
  Routes& routes = TheRoutes();
  vela::MutexLock lock(routes.lock);
  routes.managers[cmdCode] = taskMgrId;
}

std::uint8_t VelaFindRoute(std::uint32_t cmdCode) {
  Routes& routes = TheRoutes();
  vela::MutexLock lock(routes.lock);
  const auto found = routes.managers.find(cmdCode);
  return found == routes.managers.end() ? 0 : found->second;
}
