#pragma once
#include <cstdint>

namespace NSTE_util {

// The bounds in force on what inflates, in bytes; read from the configuration once.
struct InflateBounds {
  std::uint32_t memory = 256u << 20;
  std::uint64_t file = std::uint64_t{16384} << 20;
};
const InflateBounds& ConfiguredInflateBounds();

}  // namespace NSTE_util
