#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/export.h"

// Judges BER bytes from outside before a decoder of the ASN.1 runtime sees them, which is not safe on hostile
// input. One pass, no recursion, no allocation; safe in any thread.
//
// Accepted is one element, made of SEQUENCEs, universal primitive types and tags of other classes that wrap
// exactly one element (explicit ones). Lengths may take more octets than they need, up to 4. An indefinite
// length is accepted when its end-of-contents stands within what encloses it: the runtime decodes that
// safely. Refused beside malformed bytes: what the runtime mishandles (constructed strings, integers beyond
// 32 bits, tags that hide a type) and what no message of ours holds (SET, REAL, EXTERNAL).
namespace vela {

// What is accepted at most.
struct AsnLimits {
  std::uint32_t maxBytes = 16u << 20;
  std::uint32_t maxDepth = 32;  // open constructed elements; more than depthCeiling counts as depthCeiling
  std::uint32_t maxElements = 200000;
  static constexpr std::uint32_t depthCeiling = 64;
};

// Accepted, or why not.
struct AsnVerdict {
  const char* reason = nullptr;  // null: accepted; otherwise a static text
  std::size_t offset = 0;        // of the byte that was refused
  bool ok() const { return reason == nullptr; }
};

// Judges `bytes`, which are all of a payload.
VELA_EXPORT AsnVerdict CheckAsn(std::span<const unsigned char> bytes, const AsnLimits& limits);

// The limits in force: from the keys AsnMaxBytes (1024 to 256 MiB), AsnMaxDepth (4 to 64) and AsnMaxElements
// (100 to 5,000,000) of etc/conf/vela.cfg, read once; a value out of range counts as the nearest one in it.
VELA_EXPORT const AsnLimits& ConfiguredAsnLimits();

}  // namespace vela
