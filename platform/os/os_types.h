#pragma once
#include <cstdint>

using __int64 = std::int64_t;  // NOLINT: the interface's own name for a 64-bit integer

namespace vela {

// `unsigned long` values of the interface are 32 bits wide: cut on entry.
constexpr std::uint32_t Cut32(unsigned long value) {
  return static_cast<std::uint32_t>(value);
}

}  // namespace vela
