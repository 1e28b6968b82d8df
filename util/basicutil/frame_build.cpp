#include "util/basicutil/frame_build.h"

#include <cstring>
#include <limits>

#include "util/basicutil/common.h"

namespace NSTE_util {

VelaMsgPtr BuildFrame(const char* caller, const FrameFields& fields, const void* payload,
                      std::size_t length) {
  constexpr std::size_t longest = std::numeric_limits<std::uint32_t>::max() - VELA_MSG_HEADER;
  VelaMsgPtr msg(length > longest ? nullptr : VelaAllocMsg(VELA_MSG_HEADER + length));
  if (!msg) {
    TETrace("NSTE_util::%s : Fail to allocate memory!\n", caller);
    return nullptr;
  }
  msg->format = VELA_MSG_FORMAT;
  msg->srcDesk = fields.srcDesk;
  msg->dstDesk = fields.dstDesk;
  msg->srcHandle = VelaGetProcHandle();
  msg->dstHandle = fields.dstHandle;
  msg->srcProcId = VelaGetProcId();
  msg->dstProcId = fields.dstProcId;
  msg->cmdCode = fields.cmdCode;
  msg->kind = fields.kind;
  msg->srcTaskId = fields.srcTaskId;
  msg->dstTaskId = fields.dstTaskId;
  msg->length = static_cast<std::uint32_t>(length) + 2;
  msg->attribute = fields.attribute;
  msg->module = fields.module;
  VelaMsgSetSn(msg.get(), fields.sn);
  if (length != 0) std::memcpy(msg->data, payload, length);
  return msg;
}

}  // namespace NSTE_util
