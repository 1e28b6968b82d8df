#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/export.h"

// Judges BER bytes from outside before a decoder of the ASN.1 runtime sees them, which is not safe on hostile
// input. One pass, no recursion, no allocation; safe in any thread.
namespace vela {

struct AsnLimits {
  std::uint32_t maxBytes = 16u << 20;
  std::uint32_t maxDepth = 32;  // of nesting; at most AsnLimits::depthCeiling
  std::uint32_t maxElements = 200000;
  static constexpr std::uint32_t depthCeiling = 64;
};

struct AsnVerdict {
  const char* reason = nullptr;  // null: accepted; otherwise a static text
  std::size_t offset = 0;        // of the byte that was refused
  bool ok() const { return reason == nullptr; }
};

VELA_EXPORT AsnVerdict CheckAsn(std::span<const unsigned char> bytes, const AsnLimits& limits);

// The limits in force: from the keys AsnMaxBytes, AsnMaxDepth, AsnMaxElements of etc/conf/vela.cfg, read
// once.
VELA_EXPORT const AsnLimits& ConfiguredAsnLimits();

}  // namespace vela
