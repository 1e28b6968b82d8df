#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/export.h"

#pragma pack(push, 1)
// The frame that crosses the bus: a header of 50 bytes, then the payload. Little-endian on the wire; this
// code runs on little-endian machines only.
struct VelaCmdMSG {
  std::uint8_t format;      // always 10
  std::uint8_t flags;       // 0
  std::uint16_t reserved2;  // 0
  std::uint32_t clientNo;   // the client's own number
  std::uint16_t srcDesk;
  std::uint16_t dstDesk;
  std::uint16_t srcHandle;
  std::uint16_t dstHandle;
  std::uint16_t srcProcId;
  std::uint16_t dstProcId;
  std::uint32_t cmdCode;
  std::uint8_t kind;           // VelaMsgKind
  std::uint8_t reserved25[3];  // 0
  std::uint32_t sn;            // pairs a response with its request
  std::uint32_t status;  // of a response: 0, or the code of a request that was refused (then no payload)
  std::uint16_t subId;   // sub-identifier of an ASN.1 command
  std::uint16_t srcTaskId;
  std::uint16_t dstTaskId;
  std::uint16_t reserved42;  // 0
  std::uint32_t length;      // payload length + 2
  std::uint8_t attribute;    // the sending task's attribute
  std::uint8_t module;       // destination task manager
  unsigned char data[1];     // payload
};
#pragma pack(pop)

constexpr std::uint32_t VELA_MSG_HEADER = 50;
constexpr std::uint8_t VELA_MSG_FORMAT = 10;

enum VelaMsgKind : std::uint8_t {
  VELA_KIND_REQUEST = 1,  // its sender waits for a response
  VELA_KIND_COMMAND = 2,  // nobody waits
  VELA_KIND_PROGRESS = 6,
  VELA_KIND_RESPONSE = 7
};

static_assert(offsetof(VelaCmdMSG, clientNo) == 4 && offsetof(VelaCmdMSG, srcDesk) == 8);
static_assert(offsetof(VelaCmdMSG, dstDesk) == 10 && offsetof(VelaCmdMSG, srcHandle) == 12);
static_assert(offsetof(VelaCmdMSG, dstHandle) == 14 && offsetof(VelaCmdMSG, srcProcId) == 16);
static_assert(offsetof(VelaCmdMSG, dstProcId) == 18 && offsetof(VelaCmdMSG, cmdCode) == 20);
static_assert(offsetof(VelaCmdMSG, kind) == 24 && offsetof(VelaCmdMSG, srcTaskId) == 38);
static_assert(offsetof(VelaCmdMSG, dstTaskId) == 40 && offsetof(VelaCmdMSG, length) == 44);
static_assert(offsetof(VelaCmdMSG, attribute) == 48 && offsetof(VelaCmdMSG, module) == 49);
static_assert(offsetof(VelaCmdMSG, data) == VELA_MSG_HEADER);

// The platform's sized allocator: `size` bytes (header and payload), the header zeroed and the format mark
// set; the payload and the length field are the caller's to fill. Null when memory is exhausted or `size` is
// below the header's or beyond what the length field can say. Every frame is released with VelaFreeMsg, which
// takes null. Safe in any thread.
VELA_EXPORT VelaCmdMSG* VelaAllocMsg(std::size_t size);
VELA_EXPORT void VelaFreeMsg(VelaCmdMSG* msg);
VELA_EXPORT void VelaMsgSetSn(VelaCmdMSG* msg, std::uint32_t sn);

// A frame that frees itself.
struct VelaMsgDeleter {
  void operator()(VelaCmdMSG* msg) const { VelaFreeMsg(msg); }
};
using VelaMsgPtr = std::unique_ptr<VelaCmdMSG, VelaMsgDeleter>;

inline std::uint32_t VelaPayloadLength(const VelaCmdMSG& msg) {
  return msg.length < 2 ? 0 : msg.length - 2;
}
inline std::size_t VelaFrameSize(const VelaCmdMSG& msg) {
  return std::size_t{VELA_MSG_HEADER} + VelaPayloadLength(msg);
}

// A frame from outside as a message of ours: one copy of the bytes. Null unless the format mark is right and
// the length field says exactly what was received, or when memory is exhausted.
VELA_EXPORT VelaMsgPtr VelaMsgFromBytes(const void* bytes, std::size_t size);
