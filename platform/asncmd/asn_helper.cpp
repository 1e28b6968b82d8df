#include "platform/asncmd/asn_helper.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "platform/asncmd/asn_buffers.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_elements.h"
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
  unsigned char* copy = CAsnHelper::AllocateAsnBuf(out.Size());
  if (copy == nullptr) return VELA_ERR_MEMORY;
  std::memcpy(copy, out.Data(), out.Size());
  buffer = copy;
  size = out.Size();
  return 0;
}

std::span<const unsigned char> Written(const AsnWriteBuf& out) {
  return {reinterpret_cast<const unsigned char*>(out.Data()), out.Size()};
}

// Encodes with the list emptied. The list's place is where the encoding with its first element alone has an
// element that is empty here.
std::uint32_t EncodeEmptied(const AsnType& request, AsnProbeList& nodes, AsnWriteBuf& out,
                            std::size_t& lengthOffset, std::size_t& lengthOctets) {
  AsnWriteBuf withFirst(CAsnHelper::maxEncoding);
  AsnProbeList aside;
  const AsnNodeSwap swap(nodes, aside);
  if (const std::uint32_t code = EncodeTo(request, out)) return code;
  nodes.splice(nodes.begin(), aside, aside.begin());
  const std::uint32_t code = EncodeTo(request, withFirst);
  aside.splice(aside.begin(), nodes);
  if (code != 0) return code;
  const bool found = FindFilled(Written(out), Written(withFirst), lengthOffset, lengthOctets);
  return found ? 0 : VELA_ERR_GENERAL;
}

// The same for a list that has no element to tell it by.
std::uint32_t EncodeAroundProbe(const AsnType& request, AsnProbeList& nodes, AsnWriteBuf& out,
                                std::size_t& lengthOffset, std::size_t& lengthOctets) {
  try {
    AsnProbeList probes;
    const AsnListProbe& probe = probes.emplace_back(out);
    {
      const AsnNodeSwap swap(nodes, probes);
      if (const std::uint32_t code = EncodeTo(request, out)) return code;
    }
    if (probe.Calls() != 1) return VELA_ERR_GENERAL;
    lengthOctets = 1;
    lengthOffset = out.Size() - probe.BytesBehind() - lengthOctets;
    return 0;
  } catch (const std::bad_alloc&) {
    return VELA_ERR_MEMORY;
  }
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
  vela::AsnWriteBuf out(maxEncoding);
  const auto encode = nodes->empty() ? vela::EncodeAroundProbe : vela::EncodeEmptied;
  std::uint32_t code = encode(request, *nodes, out, lengthOffset, lengthOctets);
  if (code == 0) code = vela::CopyOut(out, buffer, size);
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

unsigned char* CAsnHelper::AllocateAsnBuf(std::size_t size) {
  return vela::AllocationFails() ? nullptr : static_cast<unsigned char*>(std::malloc(size));
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
