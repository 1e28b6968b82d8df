#include "platform/message/vela_cmd_msg.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "platform/os/os_faults.h"

static_assert(std::endian::native == std::endian::little);

namespace {

// What the length field can say.
constexpr std::size_t kLargestFrame = std::size_t{VELA_MSG_HEADER} + 0xFFFFFFFF - 2;

// Room for the whole record even without payload, so that a reference to it is valid.
VelaCmdMSG* Allocate(std::size_t size) {
  if (vela::AllocationFails()) return nullptr;
  return static_cast<VelaCmdMSG*>(std::malloc(std::max(size, sizeof(VelaCmdMSG))));
}

}  // namespace

VelaCmdMSG* VelaAllocMsg(std::size_t size) {
  if (size < VELA_MSG_HEADER || size > kLargestFrame) return nullptr;
  VelaCmdMSG* msg = Allocate(size);
  if (msg == nullptr) return nullptr;
  std::memset(msg, 0, VELA_MSG_HEADER);
  msg->format = VELA_MSG_FORMAT;
  return msg;
}

void VelaFreeMsg(VelaCmdMSG* msg) {
  std::free(msg);
}

void VelaMsgSetSn(VelaCmdMSG* msg, std::uint32_t sn) {
  if (msg != nullptr) msg->sn = sn;
}

VelaMsgPtr VelaMsgFromBytes(const void* bytes, std::size_t size) {
  if (bytes == nullptr || size < VELA_MSG_HEADER) return nullptr;
  VelaCmdMSG header;
  std::memcpy(&header, bytes, VELA_MSG_HEADER);
  if (header.format != VELA_MSG_FORMAT || header.length < 2 || VelaFrameSize(header) != size) return nullptr;
  VelaMsgPtr msg(Allocate(size));
  if (msg) std::memcpy(msg.get(), bytes, size);
  return msg;
}
