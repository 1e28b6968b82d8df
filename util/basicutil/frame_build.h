#pragma once
#include <cstddef>
#include <cstdint>

#include "platform/message/vela_cmd_msg.h"
#include "platform/task/vela_app_mgr.h"

namespace NSTE_util {

// What differs between the frames that the library builds; the rest of the source is the own process.
struct FrameFields {
  std::uint16_t srcDesk = VelaGetDeskId();
  std::uint16_t srcTaskId = 0;
  std::uint8_t attribute = 0;
  std::uint16_t dstDesk = 0;
  std::uint16_t dstHandle = 0;
  std::uint16_t dstProcId = 0;
  std::uint16_t dstTaskId = 0;
  std::uint8_t module = 0;
  std::uint32_t cmdCode = 0;
  std::uint8_t kind = 0;
  std::uint32_t sn = 0;
};

// Null, and a trace line that names `caller`, when memory is exhausted. `payload` may be null when the length
// is 0.
VelaMsgPtr BuildFrame(const char* caller, const FrameFields& fields, const void* payload, std::size_t length);

}  // namespace NSTE_util
