#include "platform/asncmd/asn_helper.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "platform/asncmd/asn_buffers.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_encode.h"
#include "platform/asncmd/asn_list_nodes.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/os_faults.h"
#include "platform/task/vela_error.h"

namespace vela {

std::uint32_t EncodeTo(const AsnType& msg, AsnWriteBuf& out) {
  try {
    SNACC::AsnBuf runtime(&out);
    const SNACC::AsnLen written = msg.BEnc(runtime);
    return written != 0 && written == out.Size() && !out.OverLimit() ? 0 : VELA_ERR_GENERAL;
  } catch (const std::bad_alloc&) {
    return out.OverLimit() ? VELA_ERR_GENERAL : VELA_ERR_MEMORY;
  } catch (const SNACC::MemoryException&) {
    return VELA_ERR_MEMORY;
  } catch (...) {
    return VELA_ERR_GENERAL;
  }
}

namespace {

std::uint32_t CopyOut(const AsnWriteBuf& out, unsigned char*& buffer, std::size_t& size) {
  if (AllocationFails()) return VELA_ERR_MEMORY;
  auto* copy = static_cast<unsigned char*>(std::malloc(out.Size()));
  if (copy == nullptr) return VELA_ERR_MEMORY;
  std::memcpy(copy, out.Data(), out.Size());
  buffer = copy;
  size = out.Size();
  return 0;
}

std::string AtByte(std::size_t offset, const char* what) {
  return "byte " + std::to_string(offset) + ": " + what;
}

// Empty when `msg` was decoded from all the bytes.
std::string DecodeFault(std::span<const unsigned char> bytes, AsnType& msg) {
  const AsnVerdict verdict = CheckAsn(bytes, ConfiguredAsnLimits());
  if (!verdict.ok()) return AtByte(verdict.offset, verdict.reason);
  AsnReadBuf in(bytes);
  try {
    const SNACC::AsnBuf runtime(&in);
    SNACC::AsnLen consumed = 0;
    msg.BDec(runtime, consumed);
    if (consumed == bytes.size()) return {};
    return AtByte(consumed, "the decoder stopped before the end of the message");
  } catch (const std::exception& failure) {
    return AtByte(in.Position(), failure.what());
  } catch (...) {
    return AtByte(in.Position(), "the decoder failed");
  }
}

}  // namespace
}  // namespace vela

std::uint32_t CAsnHelper::Encode(const AsnType& msg, unsigned char*& buffer, std::size_t& size,
                                 std::size_t limit) {
  buffer = nullptr;
  size = 0;
  vela::AsnWriteBuf out(limit);
  if (const std::uint32_t code = vela::EncodeTo(msg, out)) return code;
  return vela::CopyOut(out, buffer, size);
}

std::uint32_t CAsnHelper::EncodeExcludeListField(const AsnType& request, const AsnType& listField,
                                                 unsigned char*& buffer, std::size_t& size,
                                                 std::size_t& lengthOffset, std::size_t& lengthOctets) {
  buffer = nullptr;
  size = lengthOffset = lengthOctets = 0;
  vela::AsnProbeList* nodes = vela::FindListNodes(listField);
  if (nodes == nullptr) return VELA_ERR_GENERAL;
  vela::AsnWriteBuf out(std::size_t{16} << 20);
  try {
    vela::AsnProbeList probes;
    probes.emplace_back(out);
    const vela::AsnListProbe& probe = probes.front();
    {
      const vela::AsnNodeSwap swap(*nodes, probes);
      if (const std::uint32_t code = vela::EncodeTo(request, out)) return code;
    }
    if (probe.Calls() != 1) return VELA_ERR_GENERAL;
    lengthOffset = out.Size() - probe.BytesBehind() - 1;
  } catch (const std::bad_alloc&) {
    return VELA_ERR_MEMORY;
  }
  lengthOctets = 1;  // of an empty list
  const std::uint32_t code = vela::CopyOut(out, buffer, size);
  if (code != 0) lengthOffset = lengthOctets = 0;
  return code;
}

std::size_t CAsnHelper::EncodeAsnLen(std::uint32_t length, unsigned char (&octets)[5]) {
  if (length < 0x80) {
    octets[0] = static_cast<unsigned char>(length);
    return 1;
  }
  const std::size_t count = (static_cast<std::size_t>(std::bit_width(length)) + 7) / 8;
  octets[0] = static_cast<unsigned char>(0x80 | count);
  for (std::size_t i = 1; i <= count; ++i) octets[i] = static_cast<unsigned char>(length >> 8 * (count - i));
  return count + 1;
}

void CAsnHelper::ReleaseAsnBuf(unsigned char* buffer) {
  std::free(buffer);
}

std::uint32_t CAsnHelper::Decode(std::span<const unsigned char> bytes, AsnType& msg, std::string& reason) {
  try {
    reason = vela::DecodeFault(bytes, msg);
    return reason.empty() ? 0 : VELA_ERR_DECODE;
  } catch (...) {
    reason.clear();
    return VELA_ERR_DECODE;
  }
}

std::uint32_t CAsnHelper::Decode(std::span<const unsigned char> bytes, AsnType& msg) {
  std::string reason;
  return Decode(bytes, msg, reason);
}
